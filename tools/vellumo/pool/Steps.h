// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_STEPS_H
#define VELLUMO_TOOLS_STEPS_H

#include <json/value.h>

#include <string>

namespace vellumo::cli {

// What the steps of a set-up have to say: to people at once, to programs at the end.
class Steps {
public:
    explicit Steps(bool json) : _json(json) {}

    void Tell(const std::string& step);

    const Json::Value& All() const { return _steps; }

private:
    bool _json;
    Json::Value _steps{Json::arrayValue};
};

}  // namespace vellumo::cli

#endif

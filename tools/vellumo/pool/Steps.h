// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_STEPS_H
#define VELLUMO_TOOLS_STEPS_H

#include <json/value.h>

#include <string>

namespace vellumo::cli {

// The messages of a set-up: prints each at once, or collects them for the JSON document.
class Steps {
public:
    explicit Steps(bool json) : _json(json) {}

    // Adds a message, and prints it unless the output is JSON.
    void Tell(const std::string& step);

    const Json::Value& All() const { return _steps; }

private:
    bool _json;
    Json::Value _steps{Json::arrayValue};
};

}  // namespace vellumo::cli

#endif

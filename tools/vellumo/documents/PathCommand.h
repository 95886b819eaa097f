// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_PATHCOMMAND_H
#define VELLUMO_TOOLS_PATHCOMMAND_H

#include <string>

#include "app/Command.h"

namespace vellumo::cli {

// vellumo path: shows how a share path resolves. Changes nothing.
class PathCommand final : public Command {
public:
    explicit PathCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    std::string _sharePath;
    std::string _user;
};

}  // namespace vellumo::cli

#endif

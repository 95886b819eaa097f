// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_CHECKCOMMAND_H
#define VELLUMO_TOOLS_CHECKCOMMAND_H

#include <string>

#include "app/Command.h"

namespace vellumo::cli {

// vellumo check: shows whether a user may read a document, and which setting of the share, or
// what on its path, denies that. Changes nothing.
class CheckCommand final : public Command {
public:
    explicit CheckCommand(CLI::App& app);

    // After a "no", the process keeps the ids of the user.
    CommandResult Run(bool json) override;

private:
    std::string _sharePath;
    std::string _user;
    std::string _address;
};

}  // namespace vellumo::cli

#endif

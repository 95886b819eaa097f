// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_ACTIONCOMMAND_H
#define VELLUMO_TOOLS_ACTIONCOMMAND_H

#include <functional>
#include <string>
#include <vector>

#include "app/Command.h"

namespace vellumo::cli {

// For CLI11, to which an empty value of an option is the number 0: "" for one that is not empty.
std::string CheckGiven(const std::string& value);

// A command that is made of several actions, each a word of its own: vellumo pool add.
class ActionCommand : public Command {
public:
    // Runs the action that has been chosen, or else the first one that was added.
    CommandResult Run(bool json) override;

protected:
    explicit ActionCommand(CLI::App* arguments) : Command(arguments) {}

    CLI::App* AddAction(const std::string& name, const std::string& description,
                        std::function<CommandResult()> run);

    // Whether the action prints nothing.
    bool Json() const { return _json; }

private:
    struct Action {
        CLI::App* arguments;
        std::function<CommandResult()> run;
    };

    const Action& Chosen() const;

    std::vector<Action> _actions;
    bool _json = false;
};

}  // namespace vellumo::cli

#endif

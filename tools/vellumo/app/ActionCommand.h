// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_ACTIONCOMMAND_H
#define VELLUMO_TOOLS_ACTIONCOMMAND_H

#include <functional>
#include <string>
#include <vector>

#include "app/Command.h"

namespace vellumo::cli {

// A check for CLI11, which reads an empty value as the number 0: "" when `value` is not empty, else
// the error.
std::string CheckGiven(const std::string& value);

// A command with several actions, each a word of its own: vellumo pool add.
class ActionCommand : public Command {
public:
    // Runs the chosen action, or the first one added if none is chosen.
    CommandResult Run(bool json) override;

protected:
    explicit ActionCommand(CLI::App* arguments) : Command(arguments) {}

    // Adds an action and returns its part of the command line, for its options. `run`: what it
    // does.
    CLI::App* AddAction(const std::string& name, const std::string& description,
                        std::function<CommandResult()> run);

    // Whether the output is JSON, so that the action prints nothing.
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

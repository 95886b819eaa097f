// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLCOMMAND_H
#define VELLUMO_TOOLS_POOLCOMMAND_H

#include <string>
#include <vector>

#include "Command.h"

namespace vellumo::cli {

// vellumo pool: shows the container pool of the state file and sets it up.
class PoolCommand final : public Command {
public:
    explicit PoolCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    // One of list, add, remove and reset.
    struct Action {
        CLI::App* arguments;
        CommandResult (PoolCommand::*run)() const;
    };

    void AddList();
    void AddAdd();
    void AddRemove();
    void AddReset();
    CLI::App* AddAction(const std::string& name, const std::string& description,
                        CommandResult (PoolCommand::*run)() const);

    CommandResult List() const;
    CommandResult Register() const;
    CommandResult Remove() const;
    CommandResult Reset() const;

    std::vector<Action> _actions;
    std::vector<std::string> _names;
    bool _force = false;
    bool _yes = false;
    bool _json = false;
};

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLCOMMAND_H
#define VELLUMO_TOOLS_POOLCOMMAND_H

#include <string>
#include <vector>

#include "app/ActionCommand.h"
#include "pool/PoolSetup.h"

namespace vellumo::cli {

// vellumo pool: sets up the pool of converter containers and shows its state.
class PoolCommand final : public ActionCommand {
public:
    explicit PoolCommand(CLI::App& app);

private:
    void AddList();
    void AddAdd();
    void AddRemove();
    void AddReset();
    void AddUp();
    void AddDown();

    CommandResult List() const;
    CommandResult Register() const;
    CommandResult Remove() const;
    CommandResult Reset() const;

    std::vector<std::string> _names;
    bool _force = false;
    bool _yes = false;
    PoolWishes _wishes;
};

}  // namespace vellumo::cli

#endif

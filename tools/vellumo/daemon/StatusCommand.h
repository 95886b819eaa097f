// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_STATUSCOMMAND_H
#define VELLUMO_TOOLS_STATUSCOMMAND_H

#include "app/Command.h"

namespace vellumo::cli {

// vellumo status: shows what the daemon does, and how busy the pool and how full the cache are.
class StatusCommand : public Command {
public:
    explicit StatusCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    static CommandResult ShowMetrics(bool json);
    static CommandResult ShowHealth(bool json);
    static CommandResult ShowStatus(bool json);

    bool _metrics = false;
    bool _health = false;
};

}  // namespace vellumo::cli

#endif

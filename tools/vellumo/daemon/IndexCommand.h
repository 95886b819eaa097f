// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_INDEXCOMMAND_H
#define VELLUMO_TOOLS_INDEXCOMMAND_H

#include "app/ActionCommand.h"

namespace vellumo::cli {

// vellumo index: whether the daemon looks after the shares, which a file (SZF_ENABLE_INDEX) tells.
class IndexCommand : public ActionCommand {
public:
    explicit IndexCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    CommandResult Show() const;
    CommandResult Switch(bool on) const;
    CommandResult Told(bool on) const;
};

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_DOCTORCOMMAND_H
#define VELLUMO_TOOLS_DOCTORCOMMAND_H

#include "app/Command.h"

namespace vellumo::cli {

// vellumo doctor: examines everything on this server, and names the one thing to do first.
class DoctorCommand : public Command {
public:
    explicit DoctorCommand(CLI::App& app);
    CommandResult Run(bool json) override;
};

}  // namespace vellumo::cli

#endif

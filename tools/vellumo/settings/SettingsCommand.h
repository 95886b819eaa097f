// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_SETTINGSCOMMAND_H
#define VELLUMO_TOOLS_SETTINGSCOMMAND_H

#include <string>
#include <vector>

#include "app/ActionCommand.h"

namespace vellumo::cli {

// vellumo settings: shows and changes the settings of all programs.
class SettingsCommand final : public ActionCommand {
public:
    explicit SettingsCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    CommandResult List() const;
    CommandResult Get() const;
    CommandResult Set() const;
    CommandResult Unset() const;

    std::string _name;
    std::vector<std::string> _values;
};

}  // namespace vellumo::cli

#endif

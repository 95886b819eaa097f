// SPDX-License-Identifier: Apache-2.0
#include "app/ActionCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <utility>

namespace vellumo::cli {

std::string CheckGiven(const std::string& value) {
    return value.empty() ? "a value must not be empty" : "";
}

CLI::App* ActionCommand::AddAction(const std::string& name, const std::string& description,
                                   std::function<CommandResult()> run) {
    CLI::App* arguments = Arguments()->add_subcommand(name, description);
    _actions.push_back({arguments, std::move(run)});
    return arguments;
}

const ActionCommand::Action& ActionCommand::Chosen() const {
    const auto chosen = std::find_if(_actions.begin(), _actions.end(), [](const Action& action) {
        return action.arguments->parsed();
    });
    return chosen == _actions.end() ? _actions.front() : *chosen;
}

CommandResult ActionCommand::Run(bool json) {
    _json = json;
    const Action& action = Chosen();
    CommandResult result = action.run();
    result.json["action"] = action.arguments->get_name();
    return result;
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#include "app/Command.h"

#include <CLI/CLI.hpp>

namespace vellumo::cli {

void CommandResult::FailWith(const Problem& problem) {
    code = problem.code;
    json["error"] = ToJson(problem);
}

bool Command::IsChosen() const {
    return _arguments->parsed();
}

std::string Command::Name() const {
    return _arguments->get_name();
}

}  // namespace vellumo::cli

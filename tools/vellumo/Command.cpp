// SPDX-License-Identifier: Apache-2.0
#include "Command.h"

#include <CLI/CLI.hpp>

namespace vellumo::cli {

bool Command::IsChosen() const {
    return _arguments->parsed();
}

std::string Command::Name() const {
    return _arguments->get_name();
}

}  // namespace vellumo::cli

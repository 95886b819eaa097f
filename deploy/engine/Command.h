// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_COMMAND_H
#define VELLUMO_ENGINE_COMMAND_H

#include <string>
#include <vector>

namespace vellumo::engine {

// What `docker exec NAME COMMAND…` asks for.
struct Command {
    std::vector<std::string> arguments;  // the program and its arguments, never empty
    std::string document;  // file name of the scratch source that they name, empty for none
};

// Reads what follows the program's own name. Throws Failure for anything but `exec`, a container
// name and a command, and for a command that names two documents.
Command ParseCommand(const std::vector<std::string>& words);

}  // namespace vellumo::engine

#endif

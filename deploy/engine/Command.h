// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_COMMAND_H
#define VELLUMO_ENGINE_COMMAND_H

#include <string>
#include <vector>

namespace vellumo::engine {

// What `docker exec NAME COMMAND…` asks for.
struct Command {
    std::string container;
    std::vector<std::string> arguments;  // the program and its arguments, never empty
    std::string document;  // file name of the scratch source that they name, empty for none
};

// Reads what follows the program's own name: `exec`, a container name and a command. Throws Failure
// when one is missing, and for a command that names two documents.
Command ParseCommand(const std::vector<std::string>& words);

// Throws Failure for what no container can be called.
void CheckContainerName(const std::string& name);

}  // namespace vellumo::engine

#endif

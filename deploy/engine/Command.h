// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_COMMAND_H
#define VELLUMO_ENGINE_COMMAND_H

#include <string>
#include <vector>

#include "exchange/products.h"

namespace vellumo::engine {

// The words of `docker exec NAME COMMAND…`.
struct Command {
    std::string container;
    std::vector<std::string> arguments;  // the program and its arguments, never empty
    std::string document;  // file name of the scratch source in the arguments, empty for none
};

// Reads the words after the program's own name: `exec`, a container name and a command. Throws
// Failure when one of them is missing, and for a command that names two documents.
Command ParseCommand(const std::vector<std::string>& words);

// Returns the names that the command's products may have.
products ProductsOf(const Command& command);

// Throws Failure when `name` is not a valid container name.
void CheckContainerName(const std::string& name);

}  // namespace vellumo::engine

#endif

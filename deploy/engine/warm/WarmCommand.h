// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_WARM_WARMCOMMAND_H
#define VELLUMO_ENGINE_WARM_WARMCOMMAND_H

#include <optional>

#include "Command.h"
#include "sandbox/ChildProcess.h"
#include "scratch/Scratch.h"

namespace vellumo::engine {

// Lets the warm office of the command's container run `command`, within the time limit of its
// `timeout`, if there is such an office and the command is for an office. Returns the exit status,
// with the products in the target directory. Returns none when the command has to run in a sandbox
// instead; `command` then has the remaining time as its time limit.
std::optional<int> RunWarm(Command& command, const ScratchTree& tree, ChildProcess& child);

}  // namespace vellumo::engine

#endif

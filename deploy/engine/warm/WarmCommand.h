// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_WARM_WARMCOMMAND_H
#define VELLUMO_ENGINE_WARM_WARMCOMMAND_H

#include <optional>

#include "Command.h"
#include "sandbox/ChildProcess.h"
#include "scratch/Scratch.h"

namespace vellumo::engine {

// Has the warm office of `command`'s container do it, if there is one and it is one of the commands
// for an office, within its own `timeout`. Gives the exit status, products being in their place; or
// none when the command is to go on in a sandbox of its own, with the time that is left to it then.
std::optional<int> RunWarm(Command& command, const ScratchTree& tree, ChildProcess& child);

}  // namespace vellumo::engine

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_WARM_WARMKEEPER_H
#define VELLUMO_ENGINE_WARM_WARMKEEPER_H

#include <string>

#include "scratch/Scratch.h"

namespace vellumo::engine {

// What the process is that keeps an office warm for the container `name`, from its beginning to its
// end. It ends with 0 once it has left its caller, else it has told why it could not come so far.
//
// The office runs in a sandbox like a command's. Instead of the scratch directories it has the
// rooms and the socket of its place, under the names that they have outside. Its own keeper in
// there may hand a room to `nobody`, become that user and end what it runs; the office itself is as
// powerless as any tool. Variables VELLUMO_OFFICE_… of the engine's environment are the keeper's
// too.
[[noreturn]] void BecomeKeeper(const ScratchTree& tree, const std::string& name);

}  // namespace vellumo::engine

#endif

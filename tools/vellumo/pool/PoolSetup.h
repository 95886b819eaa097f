// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLSETUP_H
#define VELLUMO_TOOLS_POOLSETUP_H

#include "app/Command.h"
#include "pool/PoolWishes.h"

namespace vellumo::cli {

// vellumo pool up: builds or finds the image, starts the containers navo1, navo2, … or, with the
// embedded engine, their warm offices where these are possible, registers
// them, and takes out of the pool what is gone. What runs already is left alone, so it may be
// called again at any time. Sets the counts right that a crash has left behind, and drops its jobs,
// where nothing runs provably.
CommandResult BringPoolUp(const PoolWishes& wishes, bool json);

// vellumo pool down: takes the containers out of the pool and ends them.
CommandResult TakePoolDown(const PoolWishes& wishes, bool json);

}  // namespace vellumo::cli

#endif

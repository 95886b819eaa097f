// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLSETUP_H
#define VELLUMO_TOOLS_POOLSETUP_H

#include "app/Command.h"
#include "pool/PoolWishes.h"

namespace vellumo::cli {

// vellumo pool up: builds the image if it is missing, starts the containers navo1, navo2, ... (with
// the embedded engine, their warm offices where that is possible) and registers them. Takes out of
// the pool what is gone or above the size. Leaves running containers alone, so it may be called
// again at any time. Corrects the counts that a crash left behind, and drops its jobs.
CommandResult BringPoolUp(const PoolWishes& wishes, bool json);

// vellumo pool down: takes the containers out of the pool and ends them. Fails with kPool if some
// are in use and stay.
CommandResult TakePoolDown(const PoolWishes& wishes, bool json);

}  // namespace vellumo::cli

#endif

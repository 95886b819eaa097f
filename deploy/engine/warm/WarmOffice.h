// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_WARM_WARMOFFICE_H
#define VELLUMO_ENGINE_WARM_WARMOFFICE_H

#include <string>

#include "scratch/Scratch.h"

namespace vellumo::engine {

// Has a process of its own keep an office warm for the container `name`, and returns once the
// office takes requests. Where one is kept already that is all. The process outlives its caller; it
// ends by StopWarmOffice, and nothing of it stays. Returns 0, or an exit status when no office can
// be kept warm here, of which standard error tells the reason.
int StartWarmOffice(const ScratchTree& tree, const std::string& name);

// Ends it and waits until everything of it is gone, also of one that was killed. Throws Failure
// when it does not end.
void StopWarmOffice(const ScratchTree& tree, const std::string& name);

// Prints a line "NAME warm PROCESS" or "NAME cold"; for an empty name one for each that is warm.
// Returns the exit status: 3 when there is none of that name.
int ShowWarmOffices(const ScratchTree& tree, const std::string& name);

constexpr int kNotRunning = 3;

}  // namespace vellumo::engine

#endif

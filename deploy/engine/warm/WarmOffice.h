// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_WARM_WARMOFFICE_H
#define VELLUMO_ENGINE_WARM_WARMOFFICE_H

#include <string>

#include "scratch/Scratch.h"

namespace vellumo::engine {

// Starts a process that keeps an office warm for the container `name`, and returns when the office
// accepts requests. Does nothing if there is such a process already. The process outlives its
// caller; StopWarmOffice ends it and removes its files. Returns 0, or the exit status of a process
// that could not keep an office warm and has written the reason to standard error. Throws Failure
// when the office is not ready within the time limit.
int StartWarmOffice(const ScratchTree& tree, const std::string& name);

// Ends that process, waits until it has ended, and removes its files, also those of a process that
// was killed. Throws Failure when it does not end.
void StopWarmOffice(const ScratchTree& tree, const std::string& name);

// Prints the line "NAME warm PROCESS" or "NAME cold". With an empty name, prints one line for each
// warm office. Returns the exit status: 0, or kNotRunning when the office `name` is cold.
int ShowWarmOffices(const ScratchTree& tree, const std::string& name);

constexpr int kNotRunning = 3;

}  // namespace vellumo::engine

#endif

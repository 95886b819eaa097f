// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_REGISTRATION_H
#define VELLUMO_TOOLS_REGISTRATION_H

#include <string>
#include <vector>

#include "pool/Steps.h"

// The containers in the state file. All functions throw Failure when the state file cannot be used.
namespace vellumo::cli {

// Begins a new state file if that has content that is no JSON object, which it keeps in another
// file and reports as a step. Returns whether no container is registered: the pool is new, or the
// state file has been lost.
bool RenewLostState(Steps& steps);

// Registers those of `names` that are missing.
void Register(const std::vector<std::string>& names, Steps& steps);

// Takes those of `names` out of the pool that are idle, with `force` also those in use, and reports
// each as a step. Returns what it took out: no command starts in those any more.
std::vector<std::string> Unregister(const std::vector<std::string>& names, bool force,
                                    Steps& steps);

// The names of all registered containers, sorted.
std::vector<std::string> Registered();

}  // namespace vellumo::cli

#endif

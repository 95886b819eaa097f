// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_REGISTRATION_H
#define VELLUMO_TOOLS_REGISTRATION_H

#include <string>
#include <vector>

#include "pool/Steps.h"

// Which containers the state file lists. Each throws Failure when the state file cannot be used.
namespace vellumo::cli {

// Adds those of `names` that are missing.
void Register(const std::vector<std::string>& names, Steps& steps);

// Takes what is idle of `names` out of the pool, with `force` also what is in use; says so of what
// it keeps. Returns what it has taken out: nothing is started in those any more.
std::vector<std::string> Unregister(const std::vector<std::string>& names, bool force,
                                    Steps& steps);

// The names of all, in order.
std::vector<std::string> Registered();

}  // namespace vellumo::cli

#endif

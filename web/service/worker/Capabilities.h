// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_CAPABILITIES_H
#define VELLUMO_WEB_WORKER_CAPABILITIES_H

#include <vector>

namespace vellumo::web::worker {

// What a process needs that looks things up: to read what is not its own, and to become a user and
// end that process.
std::vector<int> CapabilitiesForLooking();

// What one needs that asks PAM: modules become the user for a while, look into homes, and keep
// counts of failures in files of the user.
std::vector<int> CapabilitiesForLogin();

// What one needs that converts: also what the embedded engine needs, which it starts, to build a
// sandbox.
std::vector<int> CapabilitiesForConverting();

// Gives up all other capabilities for good, for this process and all that it starts. Throws
// std::runtime_error on failure.
void KeepOnly(const std::vector<int>& capabilities);

}  // namespace vellumo::web::worker

#endif

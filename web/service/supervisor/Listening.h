// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_SUPERVISOR_LISTENING_H
#define VELLUMO_WEB_SUPERVISOR_LISTENING_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "supervisor/Findings.h"
#include "support/Descriptor.h"

namespace vellumo::web::supervisor {

// The sockets on which clients arrive: those that systemd has passed on, else a new one at `place`:
// an address of this machine with a port ("127.0.0.1:8480", "[::1]:8480"), or the absolute path of
// a Unix socket. Every local user may connect. Throws std::runtime_error on failure.
std::vector<support::Descriptor> Listen(const std::string& place);

// A new Unix socket at `path` to which only root may connect. Throws std::runtime_error on failure.
support::Descriptor ListenForRoot(const std::string& path);

// A new Unix socket at `path` to which only the account `user` and root may connect. Throws
// std::runtime_error on failure.
support::Descriptor ListenForUser(const std::string& path, uid_t user);

// What is wrong with `place`. Leaves nothing behind, and what listens there alone.
Findings CheckPlace(const std::string& place);

}  // namespace vellumo::web::supervisor

#endif

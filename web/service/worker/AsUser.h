// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_ASUSER_H
#define VELLUMO_WEB_WORKER_ASUSER_H

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::web::worker {

// Runs `body` in a child process that has become the account `user` for good: with its ids and
// groups alone, so that the kernel shows it what the user may see. Returns what `body` returns;
// nothing when the process cannot become the user, dies, or takes more than 20 seconds.
std::optional<std::string> AsUser(const std::string& user,
                                  const std::function<std::string()>& body);

// A file in memory with this content; empty, with errno, on failure.
support::Descriptor FileWith(const std::string& content);

// The ids and groups of this process: they must be the same after each message.
struct Identity {
    static Identity Now();

    uid_t realUser = 0;
    uid_t effectiveUser = 0;
    uid_t savedUser = 0;
    gid_t realGroup = 0;
    gid_t effectiveGroup = 0;
    gid_t savedGroup = 0;
    std::vector<gid_t> groups;

    bool operator==(const Identity&) const = default;
};

}  // namespace vellumo::web::worker

#endif

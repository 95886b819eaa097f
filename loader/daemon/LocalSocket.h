// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_LOCALSOCKET_H
#define VELLUMO_LOADER_LOCALSOCKET_H

#include <chrono>
#include <optional>
#include <string>

namespace vellumo::loader {

// Connects to the Unix socket at `path`, sends `question` and returns all that comes until the
// other end closes. Returns nothing, with errno, when that takes longer than `limit` or fails.
std::optional<std::string> AskSocket(const std::string& path, const std::string& question,
                                     std::chrono::seconds limit);

}  // namespace vellumo::loader

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_DAEMONCLIENT_H
#define VELLUMO_LOADER_DAEMONCLIENT_H

#include <chrono>
#include <optional>
#include <string>

namespace vellumo::loader {

// Where the daemon navovellumod answers questions. Only root may ask.
inline constexpr const char* kDaemonSocket = "/var/run/navovellumod.sock";

// Sends one question, a word, to the daemon and returns its whole answer. The questions are
//   "status"   what it does, as a JSON object
//   "metrics"  what it has done, as OpenMetrics text
//   "health"   the result of a trial conversion, as a JSON object; takes as long as a conversion
// Returns nothing, with errno, when no daemon answers within `limit`.
std::optional<std::string> AskDaemon(const std::string& question, std::chrono::seconds limit);

}  // namespace vellumo::loader

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_WEBCLIENT_H
#define VELLUMO_LOADER_WEBCLIENT_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace vellumo::loader {

// The SQLite file of the web service's sessions, and how long a session lasts without use and in
// any case.
inline constexpr const char* kWebDatabase = "/var/packages/Vellumo/etc/web.db";
inline constexpr std::chrono::minutes kWebSessionIdle{30};
inline constexpr std::chrono::hours kWebSessionMost{12};

// The program of the web service; nothing when it is not installed.
std::optional<std::string> WebProgram();

// The Unix socket on which the web service says how it is, as its settings have it; "none" for
// none.
std::string WebStatusSocket();

// What the web service does.
struct WebState {
    int64_t connections;
    int64_t converting;               // conversions that run
    int64_t waiting;                  // and that wait
    std::optional<int64_t> sessions;  // nothing when the database cannot be read
};

// Asks the web service at `socket`. Returns nothing, with errno, when it does not answer within
// `limit`: it does not run, or the caller is not root.
std::optional<WebState> AskWebService(const std::string& socket, std::chrono::seconds limit);

}  // namespace vellumo::loader

#endif

// SPDX-License-Identifier: Apache-2.0
#include "loader/daemon/WebClient.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <fstream>
#include <sstream>

#include "loader/Database.h"
#include "loader/daemon/LocalSocket.h"

namespace vellumo::loader {
namespace {

constexpr const char* kPrograms[] = {"/usr/sbin/vellumo-web", "/usr/local/sbin/vellumo-web"};
constexpr const char* kSettings = "/etc/vellumo/web.conf";
constexpr const char* kUsualSocket = "/run/vellumo-web.status";
constexpr const char* kRequest =
    "GET /metrics HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";

// The value of a metric with its labels; 0 when the text does not have it.
int64_t ValueOf(const std::string& name, const std::string& metrics) {
    const size_t found = metrics.find('\n' + name + ' ');
    int64_t value = 0;
    if (found != std::string::npos) {
        const char* const begin = metrics.data() + found + name.size() + 2;
        std::from_chars(begin, metrics.data() + metrics.size(), value);
    }
    return value;
}

// Those that are not over.
std::optional<int64_t> CountOfSessions() {
    if (access(kWebDatabase, R_OK) != 0) {
        return std::nullopt;
    }
    try {
        const int64_t now = std::time(nullptr);
        const Database database(kWebDatabase, "");
        auto row = database.Prepare("SELECT count(*) FROM sessions WHERE used >= ? AND begun >= ?");
        row.Bind(now - std::chrono::seconds(kWebSessionIdle).count())
            .Bind(now - std::chrono::seconds(kWebSessionMost).count());
        return row.Next() ? std::optional(row.Number(0)) : std::nullopt;
    } catch (const DatabaseError&) {
        return std::nullopt;
    }
}

}  // namespace

std::optional<std::string> WebProgram() {
    const auto* const program =
        std::find_if(std::begin(kPrograms), std::end(kPrograms),
                     [](const char* path) { return access(path, X_OK) == 0; });
    return program == std::end(kPrograms) ? std::nullopt : std::optional<std::string>(*program);
}

std::string WebStatusSocket() {
    std::string found = kUsualSocket;
    std::ifstream settings(kSettings);
    for (std::string line; std::getline(settings, line);) {
        const size_t sign = line.find('=');
        std::istringstream before(line.substr(0, sign));
        std::string name;
        before >> name;
        if (sign != std::string::npos && name == "status-socket") {
            std::istringstream(line.substr(sign + 1)) >> found;
        }
    }
    return found;
}

std::optional<WebState> AskWebService(const std::string& socket, std::chrono::seconds limit) {
    const auto answer = AskSocket(socket, kRequest, limit);
    if (!answer) {
        return std::nullopt;
    }
    if (!answer->starts_with("HTTP/1.1 200 ")) {
        errno = EPROTO;
        return std::nullopt;
    }
    return WebState{ValueOf("vellumo_web_connections", *answer),
                    ValueOf("vellumo_web_jobs{state=\"running\"}", *answer),
                    ValueOf("vellumo_web_jobs{state=\"waiting\"}", *answer), CountOfSessions()};
}

}  // namespace vellumo::loader

// SPDX-License-Identifier: Apache-2.0
#include "front/Statistics.h"

#include <algorithm>

namespace vellumo::web::front {
namespace {

constexpr std::string_view kApi = "/api/v1/";
constexpr std::string_view kLinks = "/s/";
constexpr std::string_view kLinksApi = "/api/";
constexpr size_t kLongestName = 16;
constexpr size_t kMostNames = 64;
constexpr int kFirstError = 400;
constexpr int kUnauthorized = 401;
constexpr int kTooMany = 429;

// The first component of `path`.
std::string First(std::string_view path) {
    return std::string(path.substr(0, path.find('/')));
}

std::string NameIn(const std::string& path) {
    const std::string_view view = path;
    if (view.starts_with(kApi)) {
        return First(view.substr(kApi.size()));
    }
    if (!view.starts_with(kLinks)) {
        return path.empty() ? "other" : "page";
    }
    const size_t token = view.find('/', kLinks.size());
    const std::string_view below = token == std::string_view::npos ? "" : view.substr(token);
    return below.starts_with(kLinksApi) ? "link-" + First(below.substr(kLinksApi.size())) : "link";
}

}  // namespace

// Clients can ask for any name, so a name counts as a route once a request for it has succeeded.
std::string Statistics::RouteOf(const Exchange& exchange) const {
    const std::string name = NameIn(exchange.request.path);
    const bool isPlain =
        name.size() <= kLongestName && std::all_of(name.begin(), name.end(), [](char letter) {
            return (letter >= 'a' && letter <= 'z') || letter == '-';
        });
    const bool isKnown = name == "page" || _durations.contains(name);
    const bool isNew = exchange.status < kFirstError && _durations.size() < kMostNames;
    return isPlain && !name.empty() && (isKnown || isNew) ? name : "other";
}

void Statistics::Note(const Exchange& exchange) {
    const std::string route = RouteOf(exchange);
    ++_requests[{route, exchange.status}];
    _durations[route].Add(exchange.seconds);
    _bytes += exchange.bytes;
    const bool isRefused = exchange.status == kUnauthorized || exchange.status == kTooMany;
    if (isRefused && exchange.request.path == "/api/v1/login") {
        ++_refusedLogins;
    }
}

std::string Statistics::Text(const Present& present, const Deaths* deaths) const {
    support::OpenMetrics text;
    text.Begin("vellumo_web_requests", "counter", "Requests that have been answered.");
    for (const auto& [kind, count] : _requests) {
        text.Add("route=\"" + kind.first + "\",status=\"" + std::to_string(kind.second) + "\"",
                 count);
    }
    text.Begin("vellumo_web_request_seconds", "histogram",
               "From a request's last byte to its answer's, waiting for news included.");
    for (const auto& [route, durations] : _durations) {
        text.Add("route=\"" + route + "\"", durations);
    }
    text.Begin("vellumo_web_sent_bytes", "counter", "Content that has been sent.");
    text.Add("", _bytes);
    text.Begin("vellumo_web_logins_refused", "counter", "Wrong passwords, and tries too early.");
    text.Add("", _refusedLogins);
    text.Begin("vellumo_web_connections", "gauge", "Connections that are open.");
    text.Add("", uint64_t{present.connections});
    text.Begin("vellumo_web_jobs", "gauge", "Conversions that somebody waits for.");
    text.Add("state=\"waiting\"", uint64_t{present.jobsWaiting});
    text.Add("state=\"running\"", uint64_t{present.jobsRunning});
    text.Begin("vellumo_web_log_lines_lost", "counter",
               "Lines that the access log had no room for.");
    text.Add("", present.linesLost);
    if (deaths != nullptr) {
        text.Begin("vellumo_web_deaths", "counter", "Processes that have died.");
        for (size_t i = 0; i < Deaths::kRoles.size(); ++i) {
            text.Add(std::string("role=\"") + Deaths::kRoles.at(i) + "\"",
                     deaths->count.at(i).load());
        }
    }
    return text.Text();
}

}  // namespace vellumo::web::front

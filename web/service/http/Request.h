// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_HTTP_REQUEST_H
#define VELLUMO_WEB_HTTP_REQUEST_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vellumo::web::http {

inline constexpr size_t kMostHead = size_t{16} * 1024;
inline constexpr size_t kMostTarget = size_t{8} * 1024;
inline constexpr size_t kMostBody = size_t{64} * 1024;

enum class Method { kGet, kHead, kPost, kPut, kPatch, kDelete };

// Whether a request of this kind may change something.
inline bool IsChange(Method method) {
    return method != Method::kGet && method != Method::kHead;
}

struct Request {
    Method method = Method::kGet;
    std::string path;   // as sent: percent-encoded, begins with '/'
    std::string query;  // as sent, without the '?'
    std::vector<std::pair<std::string, std::string>> fields;  // names in lower case
    std::string body;
    bool keepsConnection = true;

    // The value of the field `name` (lower case); nothing unless there is exactly one.
    std::optional<std::string> Field(std::string_view name) const;
};

// What the first bytes of a connection are.
struct Parsed {
    enum class State { kIncomplete, kComplete, kRefused };
    State state = State::kIncomplete;
    int status = 0;       // for kRefused: the HTTP status that says why
    size_t consumed = 0;  // for kComplete: the length of the request
    Request request{};
};

// Reads one request from the beginning of `bytes`. Refuses everything that another HTTP program
// between client and server may read in another way: the server would then answer requests that
// the other program has never seen. After a refusal nothing more may be read from the connection.
Parsed Parse(std::string_view bytes);

}  // namespace vellumo::web::http

#endif

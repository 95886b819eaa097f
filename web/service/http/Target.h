// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_HTTP_TARGET_H
#define VELLUMO_WEB_HTTP_TARGET_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The parts of a request that name something: its path, its query, its cookies.
namespace vellumo::web::http {

// The components of a percent-encoded path: "/a/b%20c" is {"a", "b c"}, and "/" has none. One
// slash at the end does not count. Names of files are bytes, so the components need not be UTF-8.
// Returns nothing for a path with an empty component, ".", "..", a NUL, an encoded slash or a
// damaged escape: other programs read these in different ways.
std::optional<std::vector<std::string>> SplitPath(std::string_view path);

// The parameters of a query, decoded; '+' is a blank. Returns nothing for a damaged escape, a NUL,
// or a name that comes twice.
std::optional<std::map<std::string, std::string>> SplitQuery(std::string_view query);

// The value of the cookie `name` in the field Cookie; "" unless it comes exactly once.
std::string CookieIn(std::string_view field, std::string_view name);

}  // namespace vellumo::web::http

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_ROUTES_H
#define VELLUMO_WEB_FRONT_ROUTES_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "http/Request.h"
#include "message/Message.h"

namespace vellumo::web::front {

// One route below the prefix of the interface.
struct Route {
    const char* pattern;  // "#" stands for a number, "*" at the end for one or more components
    http::Method method;
    message::Kind kind;
};

std::span<const Route> RoutesOfPersons();   // below /api/v1/
std::span<const Route> RoutesOfVisitors();  // below /s/TOKEN/api/v1/

// Where a request leads.
struct Destination {
    int status = 0;  // 0: to a route; 404 or 405: to none
    message::Kind kind = message::Kind::kMe;
    uint32_t id = 0;     // what "#" stands for
    std::string path{};  // what "*" stands for, with a slash in front; else ""
};

// The destination of a request for these components of a path.
Destination Find(std::span<const Route> routes, http::Method method,
                 const std::vector<std::string>& components);

}  // namespace vellumo::web::front

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_STATUSDESK_H
#define VELLUMO_WEB_FRONT_STATUSDESK_H

#include <functional>

#include "front/Backend.h"
#include "front/Router.h"

namespace vellumo::web::front {

// Answers those who watch over the service, on a socket of their own: "/metrics" as OpenMetrics,
// and
// "/healthz", which is 200 when a process with the rights of root answers, and 503 when none does.
class StatusDesk {
public:
    StatusDesk(Backend& quick, std::function<std::string()> metrics)
        : _quick(quick), _metrics(std::move(metrics)) {}

    asio::awaitable<Response> Answer(const http::Request& request);

private:
    asio::awaitable<Response> Health();

    Backend& _quick;
    std::function<std::string()> _metrics;
};

}  // namespace vellumo::web::front

#endif

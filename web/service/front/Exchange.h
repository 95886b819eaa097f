// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_EXCHANGE_H
#define VELLUMO_WEB_FRONT_EXCHANGE_H

#include <cstdint>
#include <string>

#include "http/Request.h"

namespace vellumo::web::front {

// A request and what became of it.
struct Exchange {
    const http::Request& request;
    std::string address;  // of the client; "" when unknown
    int status;           // of the answer
    uint64_t bytes;       // of content that were sent
    double seconds;       // from the request's last byte to the answer's
};

}  // namespace vellumo::web::front

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_ANSWERS_H
#define VELLUMO_WEB_FRONT_ANSWERS_H

#include <json/value.h>

#include <cstdint>
#include <string>

#include "http/Request.h"
#include "http/Response.h"
#include "message/Message.h"
#include "support/Descriptor.h"

namespace vellumo::web::front {

// The answer to a request: a head, and as content `body` or a part of a file.
struct Response {
    http::ResponseHead head;
    std::string body{};
    support::Descriptor file{};
    int borrowedFile = -1;  // of the page; instead of `file`
    uint64_t first = 0;     // where the part of the file begins; its length is head.length
};

// An error as JSON: {"code", "text", "retry"}.
Response ErrorResponse(int status, const std::string& code, uint32_t retryAfter = 0);
Response ErrorResponse(const message::Answer& answer);

Response JsonResponse(int status, const Json::Value& value);

// What of a file is sent, and how long a browser may keep it. What a visitor gets is not kept: the
// link may be over, or have a password, at the next request.
Response FileResponse(const http::Request& request, const message::Question& question,
                      const message::Answer& answer, support::Descriptor file);

}  // namespace vellumo::web::front

#endif

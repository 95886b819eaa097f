// SPDX-License-Identifier: Apache-2.0
#include "front/StatusDesk.h"

namespace vellumo::web::front {
namespace {

constexpr int kOk = 200;
constexpr int kNoSession = 401;
constexpr int kNotFound = 404;
constexpr int kUnavailable = 503;

Response TextResponse(int status, const char* type, std::string text) {
    Response response{{.status = status, .type = type}, std::move(text)};
    response.head.length = response.body.size();
    return response;
}

}  // namespace

// A question without a session goes all the way to the table of sessions and back.
asio::awaitable<Response> StatusDesk::Health() {
    message::Question question;
    const Reply reply = co_await _quick.Ask(std::move(question));
    const bool isGood = reply.answer.status == kNoSession;
    co_return TextResponse(isGood ? kOk : kUnavailable, "text/plain",
                           isGood ? "ok\n" : "no process looks things up\n");
}

asio::awaitable<Response> StatusDesk::Answer(const http::Request& request) {
    if (request.method != http::Method::kPost && request.path == "/healthz") {
        co_return co_await Health();
    }
    if (request.method != http::Method::kPost && request.path == "/metrics") {
        co_return TextResponse(kOk, "application/openmetrics-text; version=1.0.0; charset=utf-8",
                               _metrics());
    }
    co_return ErrorResponse(kNotFound, "not-found");
}

}  // namespace vellumo::web::front

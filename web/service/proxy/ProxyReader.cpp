// SPDX-License-Identifier: Apache-2.0
#include "proxy/ProxyReader.h"

#include <syslog.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <stdexcept>

#include "front/Backend.h"
#include "front/Confinement.h"
#include "front/Door.h"
#include "front/SessionCookie.h"
#include "http/Target.h"
#include "support/Directory.h"

namespace vellumo::web::proxy {
namespace {

namespace asio = boost::asio;
using front::ErrorResponse;
using front::Response;
using message::Question;

constexpr const char* kPath = "/login/proxy";
constexpr int kSeeOther = 303;

std::string InLowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

// Whether the request is one for a login, whoever it names. Browsers say what they want an answer
// for: nobody is logged in by a picture in another site's page.
std::optional<Response> RefusalOf(const http::Request& request) {
    if (request.path != kPath || !request.query.empty()) {
        return ErrorResponse(404, "not-found");
    }
    if (request.method != http::Method::kGet && request.method != http::Method::kPost) {
        return ErrorResponse(405, "bad-method");
    }
    if (!request.body.empty()) {
        return ErrorResponse(400, "bad-content");
    }
    if (request.Field("sec-fetch-dest").value_or("document") != "document") {
        return ErrorResponse(403, "cross-site");
    }
    return std::nullopt;
}

class ProxyDesk {
public:
    ProxyDesk(front::Backend& logins, const ProxySettings& settings)
        : _logins(logins), _isSecure(settings.isSecure), _header(InLowerCase(settings.header)) {}

    asio::awaitable<Response> Answer(const http::Request& request, const std::string& address) {
        Response response = ErrorResponse(400, "bad-user");
        if (auto refusal = RefusalOf(request)) {
            response = std::move(*refusal);
        } else if (const auto user = request.Field(_header); user && !user->empty()) {
            Question question{.kind = message::Kind::kProxyLogin};
            question.token = http::CookieIn(request.Field("cookie").value_or(""),
                                            front::SessionCookieName(_isSecure));
            question.address = address;
            question.user = *user;
            response = co_await LogIn(std::move(question));
        }
        response.head.keepsConnection = false;
        co_return response;
    }

private:
    asio::awaitable<Response> LogIn(Question question) {
        const front::Reply reply = co_await _logins.Ask(std::move(question));
        if (reply.answer.status != 200) {
            co_return ErrorResponse(reply.answer);
        }
        Response response{{.status = kSeeOther}};
        response.head.fields.emplace_back("Location", "/");
        response.head.fields.emplace_back("Set-Cookie",
                                          front::SessionCookie(_isSecure, reply.answer.token));
        co_return response;
    }

    front::Backend& _logins;
    bool _isSecure;
    std::string _header;
};

}  // namespace

void RunProxyReader(const ProxySettings& settings, support::Descriptor listening,
                    support::Descriptor queue) {
    static_cast<void>(signal(SIGPIPE, SIG_IGN));
    openlog("vellumo-web", LOG_PID | LOG_NDELAY, LOG_DAEMON);
    const support::Descriptor directory = support::OpenDirectory(settings.page);
    asio::io_context loop(1);
    front::Confine(settings.user, directory);
    front::Backend logins(loop, std::move(queue));
    ProxyDesk desk(logins, settings);
    front::Doorkeeper keeper(settings.isForwarded, settings.peer);
    const front::Connection::Service service{
        [&desk](const http::Request& request, const std::string& address) {
            return desk.Answer(request, address);
        },
        [](const front::Exchange&) {}};
    front::Door door(loop, service, std::move(listening), keeper);
    front::Spawn(loop, door.Keep());
    loop.run();
    throw std::runtime_error("the door has closed");
}

}  // namespace vellumo::web::proxy

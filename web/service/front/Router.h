// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_ROUTER_H
#define VELLUMO_WEB_FRONT_ROUTER_H

#include "front/Answers.h"
#include "front/Backend.h"
#include "front/Jobs.h"
#include "front/StaticFiles.h"
#include "http/Request.h"

namespace vellumo::web::front {

// Which request gets which answer. It knows no user and no right: it passes the token of the
// session, or of the sharing link, on.
class Router {
public:
    struct Parts {
        const StaticFiles& page;
        Backend& quick;
        Backend& login;
        Jobs& jobs;
        bool isSecure;  // the browser speaks HTTPS with the proxy, or with this machine itself
    };
    explicit Router(Parts parts) : _parts(parts) {}

    asio::awaitable<Response> Answer(const http::Request& request, const std::string& address);

private:
    struct Call;
    using BodyReader = bool(const std::string& body, message::Question& question);
    asio::awaitable<Response> AnswerPerson(const http::Request& request,
                                           const std::string& address);
    asio::awaitable<Response> AnswerVisitor(const http::Request& request,
                                            const std::string& address);
    asio::awaitable<Response> AnswerApi(const Call& call);
    asio::awaitable<Response> LogIn(const Call& call);
    asio::awaitable<Response> LogOut(const Call& call);
    asio::awaitable<Response> Unlock(const Call& call);
    // `take` puts the content of the body into the question.
    asio::awaitable<Response> Change(const Call& call, BodyReader* take);
    asio::awaitable<Response> Visible(const Call& call);
    asio::awaitable<Response> Ask(const Call& call);
    asio::awaitable<Response> Open(const Call& call);
    asio::awaitable<Response> Status(const Call& call);
    Response Cancel(const Call& call);
    Response StateResponse(const message::Question& question, const message::Answer& answer) const;
    Response PageResponse(const http::Request& request, const std::string& path) const;

    // Of a visitor's visit. Only the link's own addresses get it, so it cannot be a __Host- cookie.
    std::string VisitCookieName() const {
        return _parts.isSecure ? "__Secure-vellumo-visit" : "vellumo-visit";
    }
    void SetVisit(Response& response, const message::Question& question,
                  const message::Answer& answer) const;

    Parts _parts;
};

}  // namespace vellumo::web::front

#endif

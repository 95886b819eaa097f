// SPDX-License-Identifier: Apache-2.0
#include "front/Router.h"

#include <charconv>
#include <map>
#include <optional>

#include "front/Bodies.h"
#include "front/Gallery.h"
#include "front/Routes.h"
#include "front/SessionCookie.h"
#include "http/Ranges.h"
#include "http/Target.h"
#include "loader/links/LinkToken.h"

namespace vellumo::web::front {
namespace {

using message::Kind;
using message::Question;

constexpr std::string_view kPrefix = "/api/v1/";
constexpr std::string_view kLinkPrefix = "/s/";
constexpr unsigned kLongestWait = 20;

// A request that changes something must come from a page of this server: a browser that is made to
// send it by another page says so in one of these fields.
bool IsFromOwnPage(const http::Request& request) {
    const auto type = request.Field("content-type");
    if (!type || !type->starts_with("application/json")) {
        return false;
    }
    if (const auto site = request.Field("sec-fetch-site")) {
        return *site == "same-origin";
    }
    const auto origin = request.Field("origin");
    const auto host = request.Field("host");
    return origin && host && (*origin == "http://" + *host || *origin == "https://" + *host);
}

template <typename Number>
std::optional<Number> NumberIn(const std::string& text, Number most) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && number <= most ? std::optional(number)
                                                                 : std::nullopt;
}

message::Answer TryAgain() {
    return {.status = 503, .retryAfter = 1, .code = "try-again"};
}

}  // namespace

struct Router::Call {
    explicit Call(const http::Request& received) : request(received) {}

    const http::Request& request;
    Question question{};
    unsigned wait = 0;  // seconds

    // Takes where the request leads, and what its path and query say. Returns an error's answer, or
    // nothing.
    std::optional<Response> Lead(std::string_view path, std::span<const Route> routes);

private:
    // Takes what the query says; false if a value is not allowed.
    bool Take(const std::map<std::string, std::string>& parameters);
};

bool Router::Call::Take(const std::map<std::string, std::string>& parameters) {
    const auto parameter = [&](const char* name, const char* otherwise) {
        const auto found = parameters.find(name);
        return found == parameters.end() ? std::string(otherwise) : found->second;
    };
    constexpr uint16_t kMostEntries = 500;
    const auto most = NumberIn<uint16_t>(parameter("limit", "500"), kMostEntries);
    const auto longest = NumberIn<unsigned>(parameter("wait", "0"), kLongestWait);
    const std::string product = parameter("product", "pdf");
    if (!most || !longest || (product != "pdf" && product != "thumbnail")) {
        return false;
    }
    question.limit = *most;
    wait = *longest;
    question.sort = parameter("sort", "name");
    question.cursor = parameter("cursor", "");
    question.product = product == "pdf" ? message::Product::kPdf : message::Product::kThumbnail;
    return true;
}

std::optional<Response> Router::Call::Lead(std::string_view path, std::span<const Route> routes) {
    const auto components = http::SplitPath(path);
    const auto parameters = http::SplitQuery(request.query);
    if (!components || components->empty() || !parameters) {
        return ErrorResponse(400, "bad-path");
    }
    const Destination destination = Find(routes, request.method, *components);
    if (destination.status != 0) {
        return ErrorResponse(destination.status,
                             destination.status == 405 ? "bad-method" : "not-found");
    }
    if (http::IsChange(request.method) && !IsFromOwnPage(request)) {
        return ErrorResponse(403, "cross-site");
    }
    question.kind = destination.kind;
    question.id = destination.id;
    question.path = destination.path;
    if (!Take(*parameters)) {
        return ErrorResponse(400, "bad-parameter");
    }
    return std::nullopt;
}

void Router::SetVisit(Response& response, const Question& question,
                      const message::Answer& answer) const {
    if (!question.link.empty() && !answer.token.empty()) {
        response.head.fields.emplace_back(
            "Set-Cookie", VisitCookieName() + '=' + answer.token + "; Path=/s/" + question.link +
                              "/; HttpOnly; SameSite=Lax" + (_parts.isSecure ? "; Secure" : ""));
    }
}

Response Router::PageResponse(const http::Request& request, const std::string& path) const {
    const StaticFiles::File* const file = _parts.page.Find(path);
    if (file == nullptr || http::IsChange(request.method)) {
        return ErrorResponse(404, "not-found");
    }
    Response response{{.status = 200, .length = file->size, .type = file->type}};
    response.head.cache = "no-cache";
    response.head.fields = {{"ETag", file->tag}};
    const http::Part part = http::PartOf(request, file->size, file->tag);
    if (part.kind == http::Part::Kind::kUnchanged) {
        response.head.status = 304;
        response.head.length = 0;
        return response;
    }
    response.borrowedFile = file->content.Get();
    return response;
}

asio::awaitable<Response> Router::Answer(const http::Request& request, const std::string& address) {
    if (request.path.starts_with(kLinkPrefix)) {
        Response response = co_await AnswerVisitor(request, address);
        response.head.fields.emplace_back("X-Robots-Tag", "noindex, nofollow");
        co_return response;
    }
    if (request.path.starts_with(kPrefix)) {
        co_return co_await AnswerPerson(request, address);
    }
    co_return PageResponse(request, request.path);
}

asio::awaitable<Response> Router::AnswerPerson(const http::Request& request,
                                               const std::string& address) {
    Call call(request);
    call.question.address = address;
    call.question.token =
        http::CookieIn(request.Field("cookie").value_or(""), SessionCookieName(_parts.isSecure));
    const std::string_view path = std::string_view(request.path).substr(kPrefix.size() - 1);
    if (auto error = call.Lead(path, RoutesOfPersons())) {
        co_return std::move(*error);
    }
    co_return co_await AnswerApi(call);
}

// The page is the same for every link, and for none: it tells nobody which links there are.
asio::awaitable<Response> Router::AnswerVisitor(const http::Request& request,
                                                const std::string& address) {
    const std::string_view path = std::string_view(request.path).substr(kLinkPrefix.size());
    const std::string_view token = path.substr(0, path.find('/'));
    const std::string_view rest = path.substr(token.size());
    Call call(request);
    call.question.link = token;
    if (!loader::IsLinkToken(call.question.link)) {
        co_return ErrorResponse(404, "not-found");
    }
    if (rest.empty() || rest == "/") {
        co_return PageResponse(request, "/");
    }
    if (!rest.starts_with(kPrefix)) {
        co_return ErrorResponse(404, "not-found");
    }
    call.question.address = address;
    call.question.visit = http::CookieIn(request.Field("cookie").value_or(""), VisitCookieName());
    if (auto error = call.Lead(rest.substr(kPrefix.size() - 1), RoutesOfVisitors())) {
        co_return std::move(*error);
    }
    co_return co_await AnswerApi(call);
}

asio::awaitable<Response> Router::AnswerApi(const Call& call) {
    switch (call.question.kind) {
        case Kind::kLogin:
            co_return co_await LogIn(call);
        case Kind::kLogout:
        case Kind::kLogoutAll:
            co_return co_await LogOut(call);
        case Kind::kUnlock:
            co_return co_await Unlock(call);
        case Kind::kOpen:
            co_return co_await Status(call);
        case Kind::kView:
            co_return co_await Open(call);
        case Kind::kCancel:
            co_return Cancel(call);
        case Kind::kAddLink:
        case Kind::kChangeLink:
            co_return co_await Change(call, TakeTerms);
        case Kind::kSetPlace:
            co_return co_await Change(call, TakePage);
        case Kind::kVisible:
            co_return co_await Visible(call);
        default:
            co_return co_await Ask(call);
    }
}

asio::awaitable<Response> Router::Ask(const Call& call) {
    Reply reply = co_await _parts.quick.Ask(call.question);
    const message::Answer& answer = reply.answer;
    if (answer.status != 200 || !reply.file) {
        co_return ErrorResponse(answer);
    }
    Response response = FileResponse(call.request, call.question, answer, std::move(reply.file));
    SetVisit(response, call.question, answer);
    co_return response;
}

asio::awaitable<Response> Router::LogIn(const Call& call) {
    Question question = call.question;
    if (!TakeLogin(call.request.body, question)) {
        co_return ErrorResponse(400, "bad-content");
    }
    const Reply reply = co_await _parts.login.Ask(std::move(question));
    if (reply.answer.status != 200) {
        co_return ErrorResponse(reply.answer);
    }
    Response response = JsonResponse(200, Json::Value(Json::objectValue));
    response.head.fields.emplace_back("Set-Cookie",
                                      SessionCookie(_parts.isSecure, reply.answer.token));
    co_return response;
}

asio::awaitable<Response> Router::LogOut(const Call& call) {
    const Reply reply = co_await _parts.quick.Ask(call.question);
    if (reply.answer.status != 200) {
        co_return ErrorResponse(reply.answer);
    }
    Response response = JsonResponse(200, Json::Value(Json::objectValue));
    response.head.fields.emplace_back("Set-Cookie", SessionCookie(_parts.isSecure, ""));
    co_return response;
}

asio::awaitable<Response> Router::Unlock(const Call& call) {
    Question question = call.question;
    if (!TakePassword(call.request.body, question)) {
        co_return ErrorResponse(400, "bad-content");
    }
    const Reply reply = co_await _parts.quick.Ask(question);
    if (reply.answer.status != 200) {
        co_return ErrorResponse(reply.answer);
    }
    Response response = JsonResponse(200, Json::Value(Json::objectValue));
    SetVisit(response, question, reply.answer);
    co_return response;
}

asio::awaitable<Response> Router::Change(const Call& call, BodyReader* take) {
    Question question = call.question;
    if (!take(call.request.body, question)) {
        co_return ErrorResponse(400, "bad-content");
    }
    Reply reply = co_await _parts.quick.Ask(question);
    if (reply.answer.status != 200 || !reply.file) {
        co_return ErrorResponse(reply.answer);
    }
    co_return FileResponse(call.request, question, reply.answer, std::move(reply.file));
}

// The documents are asked for in several questions, each of which fits into a message and keeps a
// process for a short time. An empty list is one question, which only asks who it is.
asio::awaitable<Response> Router::Visible(const Call& call) {
    auto shown = ShownIn(call.request.body);
    if (!shown) {
        co_return ErrorResponse(400, "bad-content");
    }
    Gallery gallery(call.question, std::move(*shown));
    do {
        const Question question = gallery.NextQuestion();
        const Reply reply = co_await _parts.quick.Ask(question);
        if (reply.answer.status != 200 || !gallery.Take(reply.answer)) {
            co_return ErrorResponse(reply.answer.status == 200 ? TryAgain() : reply.answer);
        }
    } while (!gallery.IsComplete());
    _parts.jobs.Show(gallery.Viewer(), gallery.Missing(_parts.jobs));
    co_return JsonResponse(200, gallery.States(_parts.jobs));
}

Response Router::StateResponse(const Question& question, const message::Answer& answer) const {
    if (answer.status != 200 && answer.status != 202) {
        return ErrorResponse(answer);
    }
    const Jobs::State job = _parts.jobs.StateOf(question);
    Json::Value value;
    value["state"] = answer.status == 200 ? "ready" : (job.phase.empty() ? "none" : job.phase);
    if (answer.status == 202) {
        value["ahead"] = Json::UInt64{job.ahead};
        if (job.left) {
            value["seconds"] = Json::Int64{job.left->count()};
        }
    }
    return JsonResponse(answer.status, value);
}

asio::awaitable<Response> Router::Open(const Call& call) {
    const Reply reply = co_await _parts.quick.Ask(call.question);
    Question question = call.question;
    if (!reply.answer.token.empty()) {
        question.visit = reply.answer.token;
    }
    if (reply.answer.status == 202 && !_parts.jobs.Start(question)) {
        co_return ErrorResponse(429, "too-many-jobs", 2);
    }
    Response response = StateResponse(question, reply.answer);
    SetVisit(response, question, reply.answer);
    co_return response;
}

// Nobody's rights are asked: the key of a conversion has the token of who started it.
Response Router::Cancel(const Call& call) {
    _parts.jobs.Cancel(call.question);
    return JsonResponse(200, Json::Value(Json::objectValue));
}

// The right is asked after the wait, so that it is the present one.
asio::awaitable<Response> Router::Status(const Call& call) {
    const Question& question = call.question;
    co_await _parts.jobs.WaitForNews(question, std::chrono::seconds(call.wait));
    const Reply reply = co_await _parts.quick.Ask(question);
    co_return StateResponse(question, reply.answer);
}

}  // namespace vellumo::web::front

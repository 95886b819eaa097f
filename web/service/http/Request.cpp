// SPDX-License-Identifier: Apache-2.0
#include "http/Request.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <cctype>

namespace vellumo::web::http {
namespace {

namespace beast = boost::beast::http;
using Head = beast::request<beast::empty_body>;

constexpr int kBadRequest = 400;
constexpr int kBadMethod = 405;
constexpr int kTooMuchBody = 413;
constexpr int kTooLongTarget = 414;
constexpr int kNoExpectations = 417;
constexpr int kTooMuchHead = 431;
constexpr int kBadVersion = 505;
constexpr unsigned kHttp10 = 10;
constexpr unsigned kHttp11 = 11;
constexpr std::string_view kEndOfHead = "\r\n\r\n";

Parsed Refusal(int status) {
    return {.state = Parsed::State::kRefused, .status = status};
}

// A line that ends in LF alone, a CR elsewhere and a line that continues the one before are read in
// different ways by different programs.
bool HasOddLines(std::string_view head) {
    for (size_t i = 0; i < head.size(); ++i) {
        const bool isLast = i + 1 == head.size();
        if (head[i] == '\r' && !isLast && head[i + 1] != '\n') {
            return true;
        }
        if (head[i] == '\n') {
            const bool hasBlank = !isLast && (head[i + 1] == ' ' || head[i + 1] == '\t');
            if (i == 0 || head[i - 1] != '\r' || hasBlank) {
                return true;
            }
        }
    }
    return false;
}

int StatusOf(const boost::system::error_code& error) {
    if (error == beast::error::body_limit) {
        return kTooMuchBody;
    }
    if (error == beast::error::bad_version) {
        return kBadVersion;
    }
    return error == beast::error::header_limit ? kTooMuchHead : kBadRequest;
}

bool IsNumber(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char letter) { return std::isdigit(letter) != 0; });
}

std::optional<Method> MethodOf(beast::verb verb) {
    switch (verb) {
        case beast::verb::get:
            return Method::kGet;
        case beast::verb::head:
            return Method::kHead;
        case beast::verb::post:
            return Method::kPost;
        case beast::verb::put:
            return Method::kPut;
        case beast::verb::patch:
            return Method::kPatch;
        case beast::verb::delete_:
            return Method::kDelete;
        default:
            return std::nullopt;
    }
}

// The status with which the request is refused; 0 for one that is served.
int RefusalOf(const Head& head) {
    if (head.version() != kHttp10 && head.version() != kHttp11) {
        return kBadVersion;
    }
    // Bodies have a length. Requests of HTTP/1.0 with a transfer encoding are a known way to
    // smuggle.
    if (head.count(beast::field::transfer_encoding) != 0 || head.count(beast::field::host) != 1 ||
        head[beast::field::host].empty() || head.count(beast::field::content_length) > 1) {
        return kBadRequest;
    }
    // The parser takes a list of equal numbers for one of them.
    const auto length = head[beast::field::content_length];
    if (!IsNumber({length.data(), length.size()})) {
        return kBadRequest;
    }
    if (head.count(beast::field::expect) != 0) {
        return kNoExpectations;
    }
    if (!MethodOf(head.method())) {
        return kBadMethod;
    }
    if (head.target().size() > kMostTarget) {
        return kTooLongTarget;
    }
    return head.target().empty() || head.target().front() != '/' ? kBadRequest : 0;
}

std::string InLowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return lower;
}

Request RequestOf(const Head& head) {
    Request request;
    request.method = *MethodOf(head.method());
    const std::string target(head.target());
    const size_t mark = target.find('?');
    request.path = target.substr(0, mark);
    request.query = mark == std::string::npos ? "" : target.substr(mark + 1);
    for (const auto& field : head) {
        const auto name = field.name_string();
        const auto value = field.value();
        request.fields.emplace_back(InLowerCase({name.data(), name.size()}),
                                    std::string(value.data(), value.size()));
    }
    request.keepsConnection = head.version() == kHttp11 && head.keep_alive();
    return request;
}

Parsed WithBody(Request request, std::string_view rest, size_t headSize, size_t bodySize) {
    if (bodySize != 0 && !IsChange(request.method)) {
        return Refusal(kBadRequest);
    }
    if (rest.size() < bodySize) {
        return {};
    }
    request.body = rest.substr(0, bodySize);
    return {.state = Parsed::State::kComplete,
            .consumed = headSize + bodySize,
            .request = std::move(request)};
}

}  // namespace

std::optional<std::string> Request::Field(std::string_view name) const {
    const auto isIt = [&](const auto& field) { return field.first == name; };
    const auto found = std::find_if(fields.begin(), fields.end(), isIt);
    if (found == fields.end() || std::find_if(found + 1, fields.end(), isIt) != fields.end()) {
        return std::nullopt;
    }
    return found->second;
}

Parsed Parse(std::string_view bytes) {
    const size_t end = bytes.find(kEndOfHead);
    const std::string_view seen =
        end == std::string_view::npos ? bytes : bytes.substr(0, end + kEndOfHead.size());
    if (seen.starts_with('\r') || HasOddLines(seen)) {
        return Refusal(kBadRequest);
    }
    if (seen.size() > kMostHead) {
        const bool endsLine = seen.substr(0, kMostTarget).find('\n') != std::string_view::npos;
        return Refusal(endsLine ? kTooMuchHead : kTooLongTarget);
    }
    if (end == std::string_view::npos) {
        return {};
    }
    beast::request_parser<beast::empty_body> parser;
    parser.header_limit(kMostHead);
    parser.body_limit(kMostBody);
    boost::system::error_code error;
    parser.put(boost::asio::buffer(seen.data(), seen.size()), error);
    if (error && error != beast::error::need_more) {
        return Refusal(StatusOf(error));
    }
    if (!parser.is_header_done()) {
        return Refusal(kBadRequest);
    }
    if (const int status = RefusalOf(parser.get())) {
        return Refusal(status);
    }
    const size_t bodySize = parser.content_length().value_or(0);
    return WithBody(RequestOf(parser.get()), bytes.substr(seen.size()), seen.size(), bodySize);
}

}  // namespace vellumo::web::http

// SPDX-License-Identifier: Apache-2.0
#include "http/Response.h"

#include <ostream>  // before status.hpp, which does not include it itself

#include <algorithm>
#include <boost/beast/http/status.hpp>
#include <cctype>
#include <string_view>

namespace vellumo::web::http {
namespace {

constexpr int kNoContent = 204;
constexpr int kNotModified = 304;

void Add(std::string& bytes, std::string_view name, std::string_view value) {
    const bool isClean = std::none_of(
        value.begin(), value.end(), [](unsigned char letter) { return std::iscntrl(letter) != 0; });
    if (isClean) {
        bytes.append(name).append(": ").append(value).append("\r\n");
    }
}

}  // namespace

std::string BytesOf(const ResponseHead& head) {
    const auto reason = boost::beast::http::obsolete_reason(
        boost::beast::http::int_to_status(static_cast<unsigned>(head.status)));
    std::string bytes = "HTTP/1.1 " + std::to_string(head.status) + " ";
    bytes.append(reason.data(), reason.size()).append("\r\n");
    Add(bytes, "Content-Security-Policy", head.policy);
    Add(bytes, "X-Content-Type-Options", "nosniff");
    Add(bytes, "Referrer-Policy", "no-referrer");
    Add(bytes, "Cross-Origin-Opener-Policy", "same-origin");
    Add(bytes, "Cross-Origin-Resource-Policy", "same-origin");
    Add(bytes, "Cache-Control", head.cache);
    Add(bytes, "Vary", "Cookie");
    if (head.status != kNoContent && head.status != kNotModified) {
        Add(bytes, "Content-Length", std::to_string(head.length));
    }
    if (!head.type.empty()) {
        Add(bytes, "Content-Type", head.type);
    }
    for (const auto& [name, value] : head.fields) {
        Add(bytes, name, value);
    }
    Add(bytes, "Connection", head.keepsConnection ? "keep-alive" : "close");
    return bytes + "\r\n";
}

std::string AttachmentNamed(const std::string& name) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string encoded;
    for (const char letter : name) {
        const auto byte = static_cast<unsigned char>(letter);
        if (std::isalnum(byte) != 0 || letter == '.' || letter == '-' || letter == '_') {
            encoded += letter;
        } else {
            encoded += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
        }
    }
    return "attachment; filename*=UTF-8''" + encoded;
}

}  // namespace vellumo::web::http

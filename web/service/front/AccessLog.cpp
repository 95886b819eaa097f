// SPDX-License-Identifier: Apache-2.0
#include "front/AccessLog.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "http/Target.h"
#include "message/SessionMark.h"

namespace vellumo::web::front {
namespace {

// A pipe with room for anything has room for this at once.
constexpr size_t kLongestLine = 4096;

std::string TimeText(std::time_t now) {
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, sizeof("2026-01-01T00:00:00Z")> text{};
    const size_t count = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return {text.data(), count};
}

const char* NameOf(http::Method method) {
    switch (method) {
        case http::Method::kGet:
            return "GET";
        case http::Method::kHead:
            return "HEAD";
        case http::Method::kPost:
            return "POST";
        case http::Method::kPut:
            return "PUT";
        default:
            return "OTHER";
    }
}

std::string WithoutToken(const std::string& path) {
    constexpr std::string_view kLinks = "/s/";
    if (!path.starts_with(kLinks)) {
        return path;
    }
    const size_t end = path.find('/', kLinks.size());
    return std::string(kLinks) + "***" + (end == std::string::npos ? "" : path.substr(end));
}

// Every line has the same number of words, whatever a client sends.
std::string Word(const std::string& text) {
    std::string word;
    for (const char letter : text) {
        const bool isPlain = letter > ' ' && letter <= '~';
        word += isPlain ? letter : '?';
    }
    return word.empty() ? "-" : word;
}

std::string SecondsText(double seconds) {
    std::array<char, 32> text{};
    const int count = std::snprintf(text.data(), text.size(), "%.3f", seconds);
    return {text.data(), static_cast<size_t>(count)};
}

}  // namespace

std::string LineFor(const Exchange& exchange, const std::string& cookieName, std::time_t now) {
    const http::Request& request = exchange.request;
    const std::string token = http::CookieIn(request.Field("cookie").value_or(""), cookieName);
    const std::string rest = ' ' + std::to_string(exchange.status) + ' ' +
                             std::to_string(exchange.bytes) + ' ' + SecondsText(exchange.seconds) +
                             '\n';
    std::string line = TimeText(now) + ' ' + Word(exchange.address) + ' ' +
                       message::SessionMark(token) + ' ' + NameOf(request.method) + ' ' +
                       Word(WithoutToken(request.path));
    if (line.size() + rest.size() > kLongestLine) {
        line.resize(kLongestLine - rest.size() - 3);
        line += "...";
    }
    return line + rest;
}

void AccessLog::Note(const Exchange& exchange) {
    if (!_file) {
        return;
    }
    const std::string line = LineFor(exchange, _cookieName, std::time(nullptr));
    pollfd ready{_file.Get(), POLLOUT, 0};
    const bool hasRoom = poll(&ready, 1, 0) == 1 && (ready.revents & POLLOUT) != 0;
    if (!hasRoom ||
        write(_file.Get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        ++_lost;
    }
}

}  // namespace vellumo::web::front

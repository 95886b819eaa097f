// SPDX-License-Identifier: Apache-2.0
#include "convert/Times.h"

#include <charconv>

namespace vellumo::cli {
namespace {

constexpr size_t kMostDigits = 9;

constexpr const char* kForms[] = {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M",
                                  "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S"};

std::chrono::seconds SecondsOf(char unit) {
    switch (unit) {
        case 's':
            return std::chrono::seconds(1);
        case 'm':
            return std::chrono::minutes(1);
        case 'h':
            return std::chrono::hours(1);
        case 'd':
            return std::chrono::days(1);
        default:
            return std::chrono::seconds(0);
    }
}

std::optional<std::time_t> TimeOfForm(const std::string& text, const char* form) {
    std::tm parts{};
    const char* const end = strptime(text.c_str(), form, &parts);
    if (end == nullptr || *end != '\0') {
        return std::nullopt;
    }
    const int day = parts.tm_mday;
    parts.tm_isdst = -1;
    const std::time_t time = std::mktime(&parts);
    // mktime() takes February 30 for March 2.
    return time != -1 && parts.tm_mday == day ? std::optional(time) : std::nullopt;
}

}  // namespace

std::optional<std::chrono::seconds> DurationOf(const std::string& text) {
    if (text.size() < 2 || text.size() > kMostDigits + 1) {
        return std::nullopt;
    }
    const char* const unit = &text.back();
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), unit, number);
    const std::chrono::seconds duration = number * SecondsOf(*unit);
    return error == std::errc() && end == unit && duration.count() > 0 ? std::optional(duration)
                                                                       : std::nullopt;
}

std::optional<std::time_t> TimeOf(const std::string& text, std::time_t now) {
    if (const auto duration = DurationOf(text)) {
        return now - duration->count();
    }
    for (const char* form : kForms) {
        if (const auto time = TimeOfForm(text, form)) {
            return time;
        }
    }
    return std::nullopt;
}

}  // namespace vellumo::cli

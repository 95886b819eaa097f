// SPDX-License-Identifier: Apache-2.0
#include "loader/Duration.h"

#include <charconv>

namespace vellumo::loader {
namespace {

constexpr size_t kMostDigits = 9;
constexpr std::chrono::days kLongest(36'500);  // clocks count nanoseconds in 63 bits

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

}  // namespace

std::optional<std::chrono::seconds> DurationOf(const std::string& text) {
    if (text.size() < 2 || text.size() > kMostDigits + 1) {
        return std::nullopt;
    }
    const char* const unit = &text.back();
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), unit, number);
    const std::chrono::seconds duration = number * SecondsOf(*unit);
    const bool isValid = error == std::errc() && end == unit && duration.count() > 0;
    return isValid && duration <= kLongest ? std::optional(duration) : std::nullopt;
}

}  // namespace vellumo::loader

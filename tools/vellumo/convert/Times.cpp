// SPDX-License-Identifier: Apache-2.0
#include "convert/Times.h"

#include "loader/Duration.h"

namespace vellumo::cli {
namespace {

constexpr const char* kForms[] = {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M",
                                  "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S"};

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

std::optional<std::time_t> TimeOf(const std::string& text, std::time_t now) {
    if (const auto duration = loader::DurationOf(text)) {
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

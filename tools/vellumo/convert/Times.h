// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_TIMES_H
#define VELLUMO_TOOLS_TIMES_H

#include <ctime>
#include <optional>
#include <string>

namespace vellumo::cli {

// A date with or without a time of the day, in local time ("2026-11-22", "2026-11-22 14:30",
// "2026-11-22T14:30:15"), or a duration before `now`; null for any other text.
std::optional<std::time_t> TimeOf(const std::string& text, std::time_t now);

}  // namespace vellumo::cli

#endif

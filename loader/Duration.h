// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_DURATION_H
#define VELLUMO_LOADER_DURATION_H

#include <chrono>
#include <optional>
#include <string>

namespace vellumo::loader {

// A whole number with its unit: "90s", "30m", "12h" or "2d"; null for any other text,
// for 0, and for more than a hundred years.
std::optional<std::chrono::seconds> DurationOf(const std::string& text);

}  // namespace vellumo::loader

#endif

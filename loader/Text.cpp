// SPDX-License-Identifier: Apache-2.0
#include "loader/Text.h"

#include <array>
#include <ctime>

namespace vellumo::loader {

std::string Count(size_t number, const std::string& noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string ShellWord(const std::string& path) {
    constexpr const char* kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+,:@%";
    if (!path.empty() && path.find_first_not_of(kPlain) == std::string::npos) {
        return path;
    }
    std::string word = "'";
    for (const char c : path) {
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return word + "'";
}

std::string Date(int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    std::array<char, sizeof("2026-01-01T00:00:00Z")> text{};
    const bool known = gmtime_r(&time, &parts) != nullptr &&
                       std::strftime(text.data(), text.size(), "%FT%TZ", &parts) != 0;
    return known ? text.data() : std::to_string(seconds);
}

}  // namespace vellumo::loader

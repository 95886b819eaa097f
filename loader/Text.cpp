// SPDX-License-Identifier: Apache-2.0
#include "loader/Text.h"

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

}  // namespace vellumo::loader

// SPDX-License-Identifier: Apache-2.0
#include "smblist.h"

#include <algorithm>

#include "casefold.h"

namespace NAVO::platform {
namespace {

constexpr std::string_view kListSeparators = " \t\r\n,;";

// Returns the parts of `text` between slashes that are not empty.
std::vector<std::string_view> Components(std::string_view text) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const size_t end = std::min(text.find('/'), text.size());
        if (end > 0) {
            parts.push_back(text.substr(0, end));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

bool IsInsideCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// Returns the index behind the character at `at`. A byte that begins no UTF-8 character counts as
// one, with the bytes that only continue a character.
size_t NextCharacter(std::string_view text, size_t at) {
    ++at;
    while (at < text.size() && IsInsideCharacter(text[at])) {
        ++at;
    }
    return at;
}

}  // namespace

std::vector<std::string> ListEntries(std::string_view list) {
    std::vector<std::string> entries;
    std::string entry;
    bool isQuoted = false;
    const auto finish = [&] {
        if (!entry.empty()) {
            entries.push_back(std::move(entry));
        }
        entry.clear();
    };
    for (const char c : list) {
        if (c == '"') {
            isQuoted = !isQuoted;
        } else if (!isQuoted && kListSeparators.find(c) != std::string_view::npos) {
            finish();
        } else {
            entry += c;
        }
    }
    finish();
    return entries;
}

// Only the last "*" can need another try: whatever an earlier one takes, the later one can make up
// for. So the time is at most the product of the lengths, for names that somebody else chose too.
bool MatchesPattern(std::string_view pattern, std::string_view text) {
    size_t inPattern = 0;
    size_t inText = 0;
    size_t star = std::string_view::npos;
    size_t retry = 0;
    while (inText < text.size()) {
        const char wanted = inPattern < pattern.size() ? pattern[inPattern] : '\0';
        if (wanted == '*') {
            star = inPattern++;
            retry = inText;
        } else if (wanted == '?') {
            ++inPattern;
            inText = NextCharacter(text, inText);
        } else if (inPattern < pattern.size() && wanted == text[inText]) {
            ++inPattern;
            ++inText;
        } else if (star != std::string_view::npos) {
            inPattern = star + 1;
            inText = retry = NextCharacter(text, retry);
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', inPattern) == std::string_view::npos;
}

std::string VetoedComponent(std::string_view patterns, std::string_view path,
                            bool isCaseSensitive) {
    const auto compared = [=](std::string_view text) {
        return isCaseSensitive ? std::string(text) : LowerCase(text);
    };
    for (const std::string_view component : Components(path)) {
        const std::string name = compared(component);
        for (const std::string_view pattern : Components(patterns)) {
            if (MatchesPattern(compared(pattern), name)) {
                return std::string(component);
            }
        }
    }
    return {};
}

}  // namespace NAVO::platform

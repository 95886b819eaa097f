// SPDX-License-Identifier: Apache-2.0
#include "http/Target.h"

#include <algorithm>
#include <charconv>

namespace vellumo::web::http {
namespace {

constexpr int kHexadecimal = 16;

// The byte that "%XY" at the beginning of `escape` stands for; -1 for a damaged escape and for NUL.
int ByteOf(std::string_view escape) {
    unsigned value = 0;
    if (escape.size() < 3) {
        return -1;
    }
    const char* const end = escape.data() + 3;
    const auto [stop, error] = std::from_chars(escape.data() + 1, end, value, kHexadecimal);
    return error == std::errc() && stop == end && value != 0 ? static_cast<int>(value) : -1;
}

enum class Plus { kStays, kIsBlank };

std::optional<std::string> Decoded(std::string_view text, Plus plus) {
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\0') {
            return std::nullopt;
        }
        if (text[i] != '%') {
            decoded += text[i] == '+' && plus == Plus::kIsBlank ? ' ' : text[i];
            continue;
        }
        const int byte = ByteOf(text.substr(i));
        if (byte < 0) {
            return std::nullopt;
        }
        decoded += static_cast<char>(byte);
        i += 2;
    }
    return decoded;
}

bool IsName(const std::string& component) {
    return !component.empty() && component != "." && component != ".." &&
           component.find('/') == std::string::npos;
}

// Calls `visit` for each part of `text` between the separators, until it returns false.
template <typename Visit>
bool ForEachPart(std::string_view text, char separator, Visit visit) {
    while (!text.empty()) {
        const size_t end = text.find(separator);
        if (!visit(text.substr(0, end))) {
            return false;
        }
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    }
    return true;
}

}  // namespace

std::optional<std::vector<std::string>> SplitPath(std::string_view path) {
    if (!path.starts_with('/')) {
        return std::nullopt;
    }
    std::vector<std::string> components;
    const bool isGood = ForEachPart(path.substr(1), '/', [&](std::string_view part) {
        const auto name = Decoded(part, Plus::kStays);
        if (!name || !IsName(*name)) {
            return false;
        }
        components.push_back(*name);
        return true;
    });
    return isGood ? std::optional(components) : std::nullopt;
}

std::optional<std::map<std::string, std::string>> SplitQuery(std::string_view query) {
    std::map<std::string, std::string> parameters;
    const bool isGood = ForEachPart(query, '&', [&](std::string_view part) {
        const size_t sign = part.find('=');
        const auto name = Decoded(part.substr(0, sign), Plus::kIsBlank);
        const auto value =
            Decoded(sign == std::string_view::npos ? std::string_view{} : part.substr(sign + 1),
                    Plus::kIsBlank);
        return name && value && parameters.emplace(*name, *value).second;
    });
    return isGood ? std::optional(parameters) : std::nullopt;
}

std::string CookieIn(std::string_view field, std::string_view name) {
    std::string value;
    int found = 0;
    ForEachPart(field, ';', [&](std::string_view part) {
        part.remove_prefix(std::min(part.find_first_not_of(' '), part.size()));
        const size_t sign = part.find('=');
        if (sign != std::string_view::npos && part.substr(0, sign) == name) {
            value = part.substr(sign + 1);
            ++found;
        }
        return true;
    });
    return found == 1 ? value : "";
}

}  // namespace vellumo::web::http

// SPDX-License-Identifier: Apache-2.0
#include "http/Ranges.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace vellumo::web::http {
namespace {

constexpr std::string_view kBytes = "bytes=";

std::string_view Trimmed(std::string_view text) {
    const size_t begin = text.find_first_not_of(" \t");
    const size_t end = text.find_last_not_of(" \t");
    return begin == std::string_view::npos ? "" : text.substr(begin, end - begin + 1);
}

bool Names(std::string_view list, std::string_view tag) {
    while (!list.empty()) {
        const size_t end = list.find(',');
        std::string_view one = Trimmed(list.substr(0, end));
        if (one.starts_with("W/")) {
            one.remove_prefix(2);
        }
        if (one == tag || one == "*") {
            return true;
        }
        list = end == std::string_view::npos ? "" : list.substr(end + 1);
    }
    return false;
}

std::optional<uint64_t> Number(std::string_view digits) {
    uint64_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

Part RangeBetween(uint64_t first, uint64_t last, uint64_t size) {
    if (first >= size) {
        return {Part::Kind::kUnsatisfiable, 0, 0};
    }
    return {Part::Kind::kRange, first, std::min(last, size - 1) - first + 1};
}

// The range "FIRST-LAST", "FIRST-" or "-LENGTH"; nothing for anything else.
std::optional<Part> RangeOf(std::string_view range, uint64_t size) {
    const size_t dash = range.find('-');
    if (dash == std::string_view::npos) {
        return std::nullopt;
    }
    const auto first = Number(range.substr(0, dash));
    const auto last = Number(range.substr(dash + 1));
    if (dash == 0) {
        if (!last) {
            return std::nullopt;
        }
        return *last == 0 ? RangeBetween(size, size, size)
                          : RangeBetween(size - std::min(size, *last), size, size);
    }
    const bool isOpen = dash + 1 == range.size();
    if (!first || (!isOpen && (!last || *last < *first))) {
        return std::nullopt;
    }
    return RangeBetween(*first, isOpen ? size : *last, size);
}

}  // namespace

Part PartOf(const Request& request, uint64_t size, std::string_view tag) {
    const Part whole{Part::Kind::kWhole, 0, size};
    const auto known = request.Field("if-none-match");
    if (known && Names(*known, tag)) {
        return {Part::Kind::kUnchanged, 0, 0};
    }
    const auto range = request.Field("range");
    if (request.method != Method::kGet || !range || !range->starts_with(kBytes)) {
        return whole;
    }
    const auto condition = request.Field("if-range");
    if (condition && Trimmed(*condition) != tag) {
        return whole;
    }
    return RangeOf(Trimmed(std::string_view(*range).substr(kBytes.size())), size).value_or(whole);
}

}  // namespace vellumo::web::http

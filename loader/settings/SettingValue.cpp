// SPDX-License-Identifier: Apache-2.0
#include "loader/settings/SettingValue.h"

#include <algorithm>
#include <charconv>

#include "loader/Duration.h"

namespace vellumo::loader {
namespace {

constexpr int64_t kMostPercent = 100;
constexpr size_t kTimeLength = 5;  // "20:00"
constexpr int kHoursOfDay = 24;
constexpr int kMinutesOfHour = 60;

std::optional<int64_t> NumberOf(const std::string& text) {
    int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && number >= 0 ? std::optional(number)
                                                              : std::nullopt;
}

// How often to double a number with this unit; -1 for what is no unit.
int DoublingsOf(char unit) {
    constexpr int kStep = 10;
    const size_t place = std::string("KMGT").find(unit);
    return place == std::string::npos ? -1 : kStep * (static_cast<int>(place) + 1);
}

std::optional<int64_t> BytesOf(const std::string& text) {
    const int doublings = text.empty() ? -1 : DoublingsOf(text.back());
    const auto number = NumberOf(doublings < 0 ? text : text.substr(0, text.size() - 1));
    if (!number || doublings < 0) {
        return number;
    }
    return *number <= INT64_MAX >> doublings ? std::optional(*number << doublings) : std::nullopt;
}

std::optional<SizeOrShare> SizeOrShareOf(const std::string& text) {
    if (!text.ends_with('%')) {
        const auto bytes = BytesOf(text);
        return bytes ? std::optional(SizeOrShare{*bytes, 0}) : std::nullopt;
    }
    const auto percent = NumberOf(text.substr(0, text.size() - 1));
    return percent && *percent >= 1 && *percent <= kMostPercent
               ? std::optional(SizeOrShare{0, static_cast<int>(*percent)})
               : std::nullopt;
}

std::optional<std::chrono::minutes> TimeOfDayOf(const std::string& text) {
    if (text.size() != kTimeLength || text[2] != ':') {
        return std::nullopt;
    }
    const auto hour = NumberOf(text.substr(0, 2));
    const auto minute = NumberOf(text.substr(3));
    return hour && minute && *hour < kHoursOfDay && *minute < kMinutesOfHour
               ? std::optional(std::chrono::hours(*hour) + std::chrono::minutes(*minute))
               : std::nullopt;
}

std::optional<Hours> HoursOf(const std::string& text) {
    if (text.empty()) {
        return Hours{};
    }
    if (text.size() != 2 * kTimeLength + 1 || text[kTimeLength] != '-') {
        return std::nullopt;
    }
    const auto from = TimeOfDayOf(text.substr(0, kTimeLength));
    const auto until = TimeOfDayOf(text.substr(kTimeLength + 1));
    return from && until ? std::optional(Hours{*from, *until}) : std::nullopt;
}

std::optional<SettingValue> WordOf(const SettingEntry& entry, const std::string& text) {
    const bool known = std::find(entry.words.begin(), entry.words.end(), text) != entry.words.end();
    return known ? std::optional<SettingValue>(text) : std::nullopt;
}

std::optional<SettingValue> TextsOf(const Json::Value& json) {
    std::vector<std::string> texts;
    for (const Json::Value& text : json) {
        if (!text.isString() || text.asString().empty()) {
            return std::nullopt;
        }
        texts.push_back(text.asString());
    }
    return texts;
}

template <typename Value>
std::optional<SettingValue> Wrapped(const std::optional<Value>& value) {
    return value ? std::optional<SettingValue>(*value) : std::nullopt;
}

std::optional<SettingValue> ValueOfText(const SettingEntry& entry, const std::string& text) {
    switch (entry.kind) {
        case SettingKind::kSize:
            return Wrapped(BytesOf(text));
        case SettingKind::kSizeOrShare:
            return Wrapped(SizeOrShareOf(text));
        case SettingKind::kDuration:
            return Wrapped(DurationOf(text));
        case SettingKind::kHours:
            return Wrapped(HoursOf(text));
        case SettingKind::kTimeOfDay:
            return Wrapped(TimeOfDayOf(text));
        case SettingKind::kWord:
            return WordOf(entry, text);
        case SettingKind::kNumber:
        case SettingKind::kTexts:
            break;
    }
    return std::nullopt;
}

// Numbers stand for themselves, and for bytes.
std::optional<SettingValue> ValueOfNumber(const SettingEntry& entry, int64_t number) {
    if (number < 0) {
        return std::nullopt;
    }
    switch (entry.kind) {
        case SettingKind::kNumber:
            return number <= entry.most ? std::optional<SettingValue>(number) : std::nullopt;
        case SettingKind::kSize:
            return number;
        case SettingKind::kSizeOrShare:
            return SizeOrShare{number, 0};
        default:
            return std::nullopt;
    }
}

std::string Alternatives(std::span<const char* const> words) {
    std::string text;
    for (size_t i = 0; i < words.size(); ++i) {
        text += i == 0 ? "" : i + 1 == words.size() ? " or " : ", ";
        text += words[i];
    }
    return text;
}

}  // namespace

bool Hours::Include(std::chrono::minutes timeOfDay) const {
    if (from == until) {
        return true;
    }
    const bool isAfterBegin = timeOfDay >= from;
    const bool isBeforeEnd = timeOfDay < until;
    return from < until ? isAfterBegin && isBeforeEnd : isAfterBegin || isBeforeEnd;
}

std::optional<SettingValue> ValueOf(const SettingEntry& entry, const Json::Value& json) {
    if (entry.kind == SettingKind::kTexts) {
        return json.isArray() ? TextsOf(json) : std::nullopt;
    }
    if (json.isString()) {
        return ValueOfText(entry, json.asString());
    }
    return json.isInt64() && !json.isBool() ? ValueOfNumber(entry, json.asInt64()) : std::nullopt;
}

std::string ExpectedBy(const SettingEntry& entry) {
    switch (entry.kind) {
        case SettingKind::kSize:
            return "a size such as 500M or 2G";
        case SettingKind::kSizeOrShare:
            return "a size such as 500M or 2G, or a share of a volume such as 5%";
        case SettingKind::kDuration:
            return "a time such as 90s, 30m, 8h or 2d";
        case SettingKind::kNumber:
            return "a number from 0 to " + std::to_string(entry.most);
        case SettingKind::kHours:
            return "hours such as 20:00-06:00, or an empty text for all hours";
        case SettingKind::kTimeOfDay:
            return "a time of the day such as 03:00";
        case SettingKind::kTexts:
            return "a list of texts, none of them empty";
        case SettingKind::kWord:
            break;
    }
    return Alternatives(entry.words);
}

std::optional<Json::Value> JsonOf(const SettingEntry& entry,
                                  const std::vector<std::string>& words) {
    if (entry.kind == SettingKind::kTexts) {
        Json::Value list(Json::arrayValue);
        for (const std::string& word : words) {
            list.append(word);
        }
        return list;
    }
    if (words.size() != 1) {
        return std::nullopt;
    }
    const auto number = entry.kind == SettingKind::kNumber ? NumberOf(words.front()) : std::nullopt;
    return number ? Json::Value(Json::Int64{*number}) : Json::Value(words.front());
}

Json::Value DefaultOf(const SettingEntry& entry) {
    const std::string text = entry.byDefault;
    const bool isEmptyList = entry.kind == SettingKind::kTexts && text.empty();
    return *JsonOf(entry, isEmptyList ? std::vector<std::string>{} : std::vector{text});
}

}  // namespace vellumo::loader

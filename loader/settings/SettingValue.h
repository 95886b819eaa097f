// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_SETTINGVALUE_H
#define VELLUMO_LOADER_SETTINGVALUE_H

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "loader/settings/SettingTable.h"

namespace vellumo::loader {

// A number of bytes, or a share of a volume.
struct SizeOrShare {
    int64_t bytes = 0;
    int percent = 0;  // 0: `bytes` counts, else this

    bool operator==(const SizeOrShare&) const = default;
};

// A part of each day, in minutes after midnight, local time. `until` itself is not part of it. It
// may go past midnight; if both are equal, it is the whole day.
struct Hours {
    std::chrono::minutes from{};
    std::chrono::minutes until{};

    bool Include(std::chrono::minutes timeOfDay) const;
    bool operator==(const Hours&) const = default;
};

// Of a size the bytes, of a number the number, of a word the word.
using SettingValue = std::variant<int64_t, SizeOrShare, std::chrono::seconds, Hours,
                                  std::chrono::minutes, std::vector<std::string>, std::string>;

// What `json` means as the value of a setting; null when it is of another kind or out of range.
std::optional<SettingValue> ValueOf(const SettingEntry& entry, const Json::Value& json);

// What a value of the setting looks like, to complete "it expects ...".
std::string ExpectedBy(const SettingEntry& entry);

// `words` as JSON for the file: a list for settings that are lists, a number for numbers, else the
// only word. Null when there are more words than the setting can take, or none.
std::optional<Json::Value> JsonOf(const SettingEntry& entry, const std::vector<std::string>& words);

// The default as JSON. ValueOf() accepts it.
Json::Value DefaultOf(const SettingEntry& entry);

}  // namespace vellumo::loader

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_SETTINGTABLE_H
#define VELLUMO_LOADER_SETTINGTABLE_H

#include <cstdint>
#include <span>
#include <string>

namespace vellumo::loader {

// What an administrator can set for all programs. The table in SettingTable.cpp has one row for
// each, and nothing else knows a setting's name, kind, default or help.
enum class Setting {
    kCacheLimit,
    kWorkers,
    kNightHours,
    kPauseCpu,
    kPauseIo,
    kWorkerMemory,
    kWorkerTime,
    kWatch,
    kSettle,
    kProducts,
    kShares,
    kExclude,
    kHousekeeping,
    kScanEvery,
};

enum class SettingKind {
    kSize,         // "500M"; K, M, G and T are powers of 1024
    kSizeOrShare,  // a size, or a share of a volume: "5%"
    kDuration,     // "90s", "30m", "8h", "2d"; longer than 0
    kNumber,       // from 0 to `most`
    kHours,        // "20:00-06:00", local time; "" means always
    kTimeOfDay,    // "03:00", local time
    kTexts,        // a list of texts, none of them empty
    kWord,         // one of `words`
};

struct SettingEntry {
    Setting setting;
    SettingKind kind;
    const char* name;       // the member of the file; never changes
    const char* byDefault;  // as an administrator writes it; "" is an empty list
    const char* help;       // one sentence
    int64_t most = 0;
    std::span<const char* const> words = {};
};

// All settings, each once, in the order in which they are shown.
std::span<const SettingEntry> SettingEntries();

const SettingEntry& EntryOf(Setting setting);

// The setting with that name; null when there is none.
const SettingEntry* FindSetting(const std::string& name);

}  // namespace vellumo::loader

#endif

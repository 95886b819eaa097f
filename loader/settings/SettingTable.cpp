// SPDX-License-Identifier: Apache-2.0
#include "loader/settings/SettingTable.h"

#include <algorithm>
#include <iterator>

namespace vellumo::loader {
namespace {

constexpr int64_t kMostWorkers = 1024;
constexpr int64_t kPercent = 100;

constexpr const char* kWatchWords[] = {"auto", "fanotify", "inotify", "scan", "off"};
constexpr const char* kProductWords[] = {"both", "pdf", "thumbnail"};

constexpr SettingEntry kEntries[] = {
    {Setting::kCacheLimit, SettingKind::kSizeOrShare, "cacheLimit", "1G",
     "How much the kept PDFs may take together: a size, or a share of the volumes on which "
     "products "
     "are kept."},
    {Setting::kWorkers, SettingKind::kNumber, "workers", "0",
     "How many documents the daemon converts at once; 0 means what the pool can run, minus one.",
     kMostWorkers},
    {Setting::kNightHours, SettingKind::kHours, "nightHours", "",
     "When the daemon works on queued and found documents, which nobody waits for; empty means "
     "always."},
    {Setting::kPauseCpu, SettingKind::kNumber, "pauseCpu", "60",
     "The percentage of time lost to waiting for a processor (/proc/pressure/cpu, some avg10) "
     "above "
     "which that work pauses; 0 means never.",
     kPercent},
    {Setting::kPauseIo, SettingKind::kNumber, "pauseIo", "40",
     "The same for waiting for disks (/proc/pressure/io).", kPercent},
    {Setting::kWorkerMemory, SettingKind::kSize, "workerMemory", "1G",
     "How much memory each of the daemon's worker processes may use."},
    {Setting::kWorkerTime, SettingKind::kDuration, "workerTime", "30m",
     "How long one conversion of the daemon may take, without its wait for a container."},
    {Setting::kWatch, SettingKind::kWord, "watch", "auto",
     "How the daemon learns of changed documents: auto, fanotify, inotify, scan (looks through the "
     "shares from time to time) or off.",
     0, kWatchWords},
    {Setting::kSettle, SettingKind::kDuration, "settle", "10s",
     "How long a changed document must stay as it is before the daemon converts it."},
    {Setting::kProducts, SettingKind::kWord, "products", "both",
     "What the daemon keeps of each document: both, pdf or thumbnail.", 0, kProductWords},
    {Setting::kShares, SettingKind::kTexts, "shares", "",
     "The names of the shares of which the daemon keeps products; empty means all."},
    {Setting::kExclude, SettingKind::kTexts, "exclude", "",
     "Glob patterns of files and folders that the daemon skips, by their name or their path in the "
     "share."},
    {Setting::kHousekeeping, SettingKind::kTimeOfDay, "housekeeping", "03:00",
     "When the daemon removes what nobody needs any more."},
    {Setting::kScanEvery, SettingKind::kDuration, "scanEvery", "24h",
     "How long after a complete look through the shares the daemon begins the next one."},
};

}  // namespace

std::span<const SettingEntry> SettingEntries() {
    return kEntries;
}

const SettingEntry& EntryOf(Setting setting) {
    return *std::find_if(std::begin(kEntries), std::end(kEntries),
                         [setting](const SettingEntry& entry) { return entry.setting == setting; });
}

const SettingEntry* FindSetting(const std::string& name) {
    const auto* const entry =
        std::find_if(std::begin(kEntries), std::end(kEntries),
                     [&name](const SettingEntry& each) { return each.name == name; });
    return entry == std::end(kEntries) ? nullptr : entry;
}

}  // namespace vellumo::loader

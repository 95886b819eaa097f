// SPDX-License-Identifier: Apache-2.0
#include "app/DaemonSettings.h"

#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "app/Log.h"
#include "loader/cache/Collection.h"
#include "loader/documents/Document.h"
#include "vellumo/Constants.h"

namespace vellumo::daemon {
namespace {

namespace core = NAVO::VELLUMO;
using loader::Setting;

constexpr const char* kShares = "/etc/samba/smb.conf";
constexpr int64_t kNanoseconds = 1'000'000'000;

int64_t ChangeOf(const char* file) {
    struct stat status {};
    return stat(file, &status) == 0
               ? int64_t{status.st_ctim.tv_sec} * kNanoseconds + status.st_ctim.tv_nsec
               : 0;
}

loader::ShareMap ReadShares(const loader::ShareMap& before) {
    try {
        return loader::ShareMap(loader::Shares());
    } catch (const loader::Failure& failure) {
        LogError(InOneLine(failure.Details()));
        return before;
    }
}

bool MatchesOne(const std::vector<std::string>& patterns, const std::string& path) {
    const std::string name = path.substr(path.rfind('/') + 1);
    return std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
        return fnmatch(pattern.c_str(), path.c_str(), 0) == 0 ||
               fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    });
}

// `path`: below the share, each component after a slash.
bool IsExcluded(const std::string& path, const std::vector<std::string>& patterns) {
    if (patterns.empty() || path.empty()) {
        return false;
    }
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        if (MatchesOne(patterns, path.substr(1, end - 1))) {
            return true;
        }
    }
    return MatchesOne(patterns, path.substr(1));
}

}  // namespace

DaemonSettings DaemonSettings::Read(const loader::ShareMap& before) {
    const loader::Settings settings = loader::Settings::Read();
    for (const loader::Problem& problem : settings.Problems()) {
        LogWarning(InOneLine(problem));
    }
    DaemonSettings read;
    read.cacheLimit = loader::LimitOf(settings);
    read.worker = {settings.Bytes(Setting::kWorkerMemory), settings.Duration(Setting::kWorkerTime)};
    read.workers = static_cast<size_t>(settings.Number(Setting::kWorkers));
    read.pressure = {static_cast<int>(settings.Number(Setting::kPauseCpu)),
                     static_cast<int>(settings.Number(Setting::kPauseIo))};
    read.nightHours = settings.HoursOf(Setting::kNightHours);
    read.products =
        loader::ProductsOf(settings.Word(Setting::kProducts)).value_or(loader::Products::kBoth);
    read.watch = settings.Word(Setting::kWatch);
    read.settle = settings.Duration(Setting::kSettle);
    read.shareNames = settings.Texts(Setting::kShares);
    read.excluded = settings.Texts(Setting::kExclude);
    read.housekeeping = settings.TimeOfDay(Setting::kHousekeeping);
    read.scanEvery = settings.Duration(Setting::kScanEvery);
    read.shares = ReadShares(before);
    read.looksAfterShares = access(core::SZF_ENABLE_INDEX, F_OK) == 0;
    return read;
}

bool DaemonSettings::IsNight(std::chrono::system_clock::time_point now) const {
    return nightHours.Include(TimeOfDay(now));
}

bool DaemonSettings::Covers(const std::string& name) const {
    return shareNames.empty() ||
           std::find(shareNames.begin(), shareNames.end(), name) != shareNames.end();
}

bool DaemonSettings::Wants(const std::string& realPath) const {
    const auto sharePath = shares.SharePathOf(realPath);
    if (!sharePath) {
        return false;
    }
    const std::string share = loader::ShareOf(*sharePath);
    return Covers(share) && !IsExcluded(sharePath->substr(share.size() + 1), excluded);
}

SettingsStamp SettingsStamp::Now() {
    return {
        {ChangeOf(core::SZF_INDEX_CONFIG), ChangeOf(kShares), ChangeOf(core::SZF_ENABLE_INDEX)}};
}

std::chrono::minutes TimeOfDay(std::chrono::system_clock::time_point now) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&seconds, &local);
    return std::chrono::hours(local.tm_hour) + std::chrono::minutes(local.tm_min);
}

}  // namespace vellumo::daemon

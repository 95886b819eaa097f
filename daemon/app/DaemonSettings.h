// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_DAEMONSETTINGS_H
#define VELLUMO_DAEMON_DAEMONSETTINGS_H

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "jobs/DocumentJob.h"
#include "jobs/Pressure.h"
#include "loader/documents/Shares.h"
#include "loader/queue/Operation.h"
#include "loader/settings/Settings.h"

namespace vellumo::daemon {

// What the daemon has been told: the settings of all programs (`vellumo settings`), the shares, and
// whether it looks after the shares at all (SZF_ENABLE_INDEX).
struct DaemonSettings {
    // Reads them anew and writes what is wrong to the log. When the shares cannot be read, they are
    // those of `before`.
    static DaemonSettings Read(const loader::ShareMap& before = loader::ShareMap({}));

    // Whether it is the time of the night's work.
    bool IsNight(std::chrono::system_clock::time_point now) const;

    // Whether the daemon looks after the share `name`.
    bool Covers(const std::string& name) const;

    // Whether the daemon looks after the document at `realPath`: it lies in such a share, and no
    // pattern excludes it, or a folder above it.
    bool Wants(const std::string& realPath) const;

    std::optional<int64_t> cacheLimit;  // bytes; null while it is not known
    WorkerLimits worker;
    size_t workers = 0;
    PressureLimits pressure;
    loader::Hours nightHours;
    loader::Products products = loader::Products::kBoth;
    std::string watch;
    std::chrono::seconds settle{};
    std::vector<std::string> shareNames;
    std::vector<std::string> excluded;
    std::chrono::minutes housekeeping{};
    std::chrono::seconds scanEvery{};
    loader::ShareMap shares{{}};
    bool looksAfterShares = false;
};

// Tells whether what DaemonSettings::Read() reads has changed.
struct SettingsStamp {
    static SettingsStamp Now();

    // Of the settings' file, of Samba's configuration and of SZF_ENABLE_INDEX: the times of their
    // last change in nanoseconds; 0 for a missing one.
    std::array<int64_t, 3> changed{};

    bool operator==(const SettingsStamp&) const = default;
};

// The time of day, local time.
std::chrono::minutes TimeOfDay(std::chrono::system_clock::time_point now);

}  // namespace vellumo::daemon

#endif

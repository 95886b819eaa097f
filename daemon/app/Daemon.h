// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_DAEMON_H
#define VELLUMO_DAEMON_DAEMON_H

#include <json/value.h>

#include <chrono>
#include <deque>
#include <optional>
#include <string>

#include "app/DaemonSettings.h"
#include "app/Manager.h"
#include "app/PidFile.h"
#include "app/Signals.h"
#include "jobs/Admission.h"
#include "jobs/Backlog.h"
#include "jobs/Crew.h"
#include "jobs/ShareWatch.h"
#include "loader/cache/Collection.h"
#include "loader/pool/PoolState.h"
#include "night/Housekeeping.h"
#include "status/ControlSocket.h"
#include "status/Health.h"
#include "status/Metrics.h"
#include "status/Rate.h"

namespace vellumo::daemon {

// The daemon: one thread that looks for work, hands it to worker processes and waits for what
// happens next. It never blocks for longer than the lock of a database or of the state file takes.
class Daemon {
public:
    // Throws loader::Failure when it cannot start.
    Daemon();

    // Works until it is asked to stop. Returns the exit status.
    int Run();

private:
    using Clock = std::chrono::steady_clock;

    void Wait();
    void TakeSignals();
    void LookAtSettings();
    void Reload();
    void LookForWork();
    void LookForRetries();
    void NoteStep(const Step& step);
    void StartJobs();
    bool StartOne();
    void FollowRenameOf(const Item& item);
    void FollowRenames();
    void CollectJobs();
    void NoteEnd(const Crew::Ended& ended);
    void PauseBecause(const loader::Problem& problem);
    bool HasPlaceForThumbnails() const;
    void LookForThumbnails();
    void TellManager();
    int Finish();

    void LookAtPool();
    Situation SituationNow() const;
    std::string Obstacle() const;
    std::optional<std::string> Answer(const std::string& question);
    Json::Value Status();
    std::string MetricsText();

    PidFile _pidFile;
    SettingsStamp _stamp = SettingsStamp::Now();  // of the settings, taken before they are read
    DaemonSettings _settings = DaemonSettings::Read();
    Signals _signals;
    Manager _manager;
    Metrics _metrics;
    Rate _rate;
    Backlog _backlog{_settings, [this] { FollowRenames(); }};
    ShareWatch _shares{_settings, _backlog};
    Crew _crew;
    Health _health;
    Housekeeping _housekeeping;
    loader::BulkCollection _collection;  // of the cache, beyond its limit
    Clock::time_point _lookedForRetries;
    ControlSocket _control;
    loader::PoolState _pool;
    std::string _poolProblem;  // why it cannot be known; "" when it is
    Clock::time_point _poolRead;
    Clock::time_point _stampRead;
    std::string _overload;
    std::deque<Crew::Ended> _lastFailures;
    std::optional<loader::Problem> _trouble;  // why no work can be looked for
    Clock::time_point _troubleUntil;
    const std::chrono::system_clock::time_point _started = std::chrono::system_clock::now();
    static constexpr std::chrono::seconds kFirstPause{30};
    Clock::duration _pauseLength = kFirstPause;
    Clock::time_point _pauseUntil;
    std::string _pauseBecause;
    bool _lacksThumbnails = false;  // documents got none because the pool had no place for them
    bool _isStopping = false;
};

}  // namespace vellumo::daemon

#endif

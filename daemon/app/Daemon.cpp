// SPDX-License-Identifier: Apache-2.0
#include "app/Daemon.h"

#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "app/Log.h"
#include "jobs/Circumstances.h"
#include "jobs/Pressure.h"
#include "loader/Text.h"
#include "loader/failures/FailureMemory.h"
#include "loader/pool/Readiness.h"

namespace vellumo::daemon {
namespace {

constexpr auto kTick = std::chrono::milliseconds(500);
// Between two steps through folders, each of which takes as long: a look through the shares leaves
// others half of a processor.
constexpr auto kBreath = std::chrono::milliseconds(20);
constexpr auto kSettingsEvery = std::chrono::seconds(2);
constexpr auto kPoolEvery = std::chrono::seconds(1);
constexpr auto kLongestPause = std::chrono::minutes(10);
constexpr auto kTroubleLasts = std::chrono::seconds(30);
constexpr auto kRetriesEvery = std::chrono::minutes(1);
constexpr int64_t kRetriesAtOnce = 20;
constexpr int kSettlings = 5;  // a rename is followed long before
constexpr size_t kFailuresShown = 10;
constexpr int kLockSeconds = 1;

template <typename Body>
void LogFailure(const Body& body) {
    try {
        body();
    } catch (const loader::Failure& failure) {
        LogWarning(InOneLine(failure.Details()));
    }
}

// systemd kills the daemon 10 seconds after it has asked it to stop.
constexpr auto kStopLimit = std::chrono::milliseconds(8500);

}  // namespace

Daemon::Daemon()
    : _crew([this](const Step& step) { NoteStep(step); }),
      _collection(_settings.cacheLimit),
      _control([this](const std::string& question) { return Answer(question); }) {
    loader::CheckRights("cannot start");
    _crew.SetLimits(_settings.worker);
}

int Daemon::Run() {
    LogInfo("started");
    _shares.Adapt();
    Manager::TellReady();
    while (!_isStopping) {
        Wait();
        TakeSignals();
        LookAtSettings();
        LookForWork();
        CollectJobs();
        StartJobs();
        _health.Step();
        _housekeeping.Step({_settings.housekeeping, kSettlings * _settings.settle},
                           std::chrono::system_clock::now());
        _control.Serve();
        TellManager();
    }
    return Finish();
}

void Daemon::Wait() {
    std::vector<pollfd> sources{{_signals.WaitOn(), POLLIN, 0}};
    _control.AddTo(sources);
    _crew.AddTo(sources);
    auto limit = kTick;
    if (_shares.WaitOn() >= 0 && !_trouble) {  // while it holds, nobody takes the events
        sources.push_back({_shares.WaitOn(), POLLIN, 0});
    }
    if (_crew.Count() > 0 || _health.IsRunning()) {
        limit = loader::Watch::kLookAfter;
    }
    if (_backlog.IsBusy() && !_trouble) {
        limit = kBreath;
    }
    poll(sources.data(), sources.size(), static_cast<int>(limit.count()));
}

void Daemon::TakeSignals() {
    const Signals::Arrived arrived = _signals.Take();
    if (arrived.reload) {
        Reload();
    }
    _isStopping = _isStopping || arrived.stop;
}

// An administrator who changes a setting or a share need not restart or signal anything.
void Daemon::LookAtSettings() {
    if (Clock::now() - _stampRead < kSettingsEvery) {
        return;
    }
    _stampRead = Clock::now();
    if (SettingsStamp::Now() != _stamp) {
        Reload();
    }
}

void Daemon::Reload() {
    Manager::TellReloading();
    _stamp = SettingsStamp::Now();
    _settings = DaemonSettings::Read(_settings.shares);
    _crew.SetLimits(_settings.worker);
    _collection.SetLimit(_settings.cacheLimit);
    _shares.Adapt();
    LogInfo("settings read anew");
    Manager::TellReady();
}

void Daemon::LookForWork() {
    if (_trouble && Clock::now() < _troubleUntil) {
        return;
    }
    try {
        _shares.Step();
        LookForRetries();
        _backlog.Look();
        _trouble.reset();
    } catch (const loader::Failure& failure) {
        if (!_trouble) {
            LogError(InOneLine(failure.Details()));
        }
        _trouble = failure.Details();
        _troubleUntil = Clock::now() + kTroubleLasts;
    }
}

// Documents that have failed by a time limit or a crash, and may be tried again.
void Daemon::LookForRetries() {
    const auto now = Clock::now();
    if (now - _lookedForRetries < kRetriesEvery) {
        return;
    }
    _lookedForRetries = now;
    for (const loader::RememberedFailure& failure :
         loader::FailureMemory().Due(std::time(nullptr), kRetriesAtOnce)) {
        if (loader::IdentityOf(failure.path) == failure.document) {
            _backlog.NoteFound(failure.path);
        }
    }
}

void Daemon::NoteStep(const Step& step) {
    _metrics.Note(step);
    if (step.bytes == 0 || step.product != loader::kPdfProduct) {
        return;
    }
    LogFailure([&] { _collection.NoteStored(step.bytes); });
}

void Daemon::StartJobs() {
    const bool hasWork = _backlog.MostUrgent() || _lacksThumbnails;
    if (!hasWork || _trouble || Clock::now() < _pauseUntil) {
        return;
    }
    LookAtPool();
    LookForThumbnails();
    while (StartOne()) {
    }
}

// What is known of the pool is at most a second old: a job that finds no container waits for one.
bool Daemon::StartOne() {
    const Situation situation = SituationNow();
    std::optional<Item> item;
    for (const Lane lane : kLanes) {
        if (_backlog.Count(lane) > 0) {
            item = ObstacleFor(lane, situation).empty() ? _backlog.Take(lane) : std::nullopt;
            break;
        }
    }
    if (!item) {
        return false;
    }
    // With the first container alone, thumbnails would wait for ever.
    if (!HasPlaceForThumbnails() && item->products != loader::Products::kPdf) {
        LogInfo(item->realPath + ": no thumbnail, the pool has a single container");
        item->products = loader::Products::kPdf;
        _lacksThumbnails = true;
    }
    FollowRenameOf(*item);
    const auto sharePath = _settings.shares.SharePathOf(item->realPath);
    if (sharePath) {
        _crew.Start(std::move(*item), *sharePath);
    } else {
        LogWarning(item->realPath + ": in no share, so nothing is kept of it");
        _backlog.Close(*item, Outcome::kFailed);
    }
    return true;
}

// When this fails, the document is converted once more than it need be.
void Daemon::FollowRenameOf(const Item& item) {
    LogFailure([&] { _shares.FollowRenameOf(item.realPath); });
}

void Daemon::FollowRenames() {
    LogFailure([this] { _shares.FollowRenames(); });
}

// The first container takes no thumbnails.
bool Daemon::HasPlaceForThumbnails() const {
    return _pool.Slots(NAVO::VELLUMO::ContainerPoolManager::PRIORITY_LOW) > 0;
}

// Documents that got no thumbnail while the pool had no place for them get one now.
void Daemon::LookForThumbnails() {
    if (_lacksThumbnails && HasPlaceForThumbnails()) {
        _lacksThumbnails = false;
        _shares.LookThroughAll();
    }
}

void Daemon::CollectJobs() {
    for (const Crew::Ended& ended : _crew.TakeEnded()) {
        NoteEnd(ended);
        if (ended.outcome == Outcome::kDeferred && IsOfServer(*ended.why)) {
            _backlog.GiveBack(ended.item);
            PauseBecause(*ended.why);
        } else {
            _backlog.Close(ended.item, ended.outcome);
        }
    }
}

// Nothing is started for a while, which gets longer as long as nothing succeeds.
void Daemon::PauseBecause(const loader::Problem& problem) {
    if (Clock::now() < _pauseUntil) {
        return;  // of the same failure, in a job that ran beside the first one
    }
    _pauseBecause = problem.why;
    _pauseUntil = Clock::now() + _pauseLength;
    _pauseLength = std::min<Clock::duration>(_pauseLength * 2, kLongestPause);
}

void Daemon::NoteEnd(const Crew::Ended& ended) {
    _metrics.Note(ended.outcome);
    if (ended.outcome == Outcome::kDone) {
        _rate.Note(Clock::now());
        _pauseLength = kFirstPause;
    }
    if (ended.outcome == Outcome::kFailed || ended.outcome == Outcome::kDeferred) {
        LogWarning(InOneLine(*ended.why));
        _lastFailures.push_front(ended);
        _lastFailures.resize(std::min(_lastFailures.size(), kFailuresShown));
    }
}

void Daemon::LookAtPool() {
    if (Clock::now() - _poolRead < kPoolEvery) {
        return;
    }
    _poolRead = Clock::now();
    _overload = Overload(_settings.pressure);
    try {
        loader::CheckServer("cannot convert");
        _pool = loader::ReadPool("cannot convert", kLockSeconds);
        _poolProblem.clear();
    } catch (const loader::Failure& failure) {
        if (_poolProblem.empty()) {
            LogError(InOneLine(failure.Details()));
        }
        _pool = {};
        _poolProblem = failure.Details().why;
    }
}

Situation Daemon::SituationNow() const {
    const size_t waiting = _pool.Waiting();
    const size_t ours = _crew.Waiting();
    return {_pool.containers.size(),
            _crew.Count(),
            _settings.workers,
            waiting - std::min(waiting, ours),
            _settings.IsNight(std::chrono::system_clock::now()),
            _overload};
}

void Daemon::TellManager() {
    if (!_crew.HasOverdue()) {
        _manager.TellAlive();
    }
    if (_crew.Count() > 0) {
        _manager.TellStatus("converting " + loader::Count(_crew.Count(), "document"));
    } else if (const std::string obstacle = Obstacle(); !obstacle.empty()) {
        _manager.TellStatus("waiting: " + obstacle);
    } else {
        _manager.TellStatus("idle");
    }
}

// Why nothing starts although there is work; "" when there is none, or nothing is in the way.
std::string Daemon::Obstacle() const {
    const auto lane = _backlog.MostUrgent();
    if (_trouble) {
        return _trouble->why;
    }
    if (!lane) {
        return "";
    }
    if (Clock::now() < _pauseUntil) {
        return _pauseBecause;
    }
    return _poolProblem.empty() ? ObstacleFor(*lane, SituationNow()) : _poolProblem;
}

// What the workers have not finished stays in the queue.
int Daemon::Finish() {
    LogInfo("stopping");
    Manager::TellStopping();
    _housekeeping.Stop();
    _health.Stop();
    _crew.Stop();
    FollowRenames();
    const auto end = Clock::now() + kStopLimit;
    bool isHurried = false;
    while (_crew.Count() > 0 || _health.IsRunning()) {
        if (!isHurried && Clock::now() > end) {
            _crew.Stop();
            _health.Stop();
            isHurried = true;
        }
        Wait();
        CollectJobs();
        _health.Step();
    }
    LogInfo("stopped");
    return EXIT_SUCCESS;
}

}  // namespace vellumo::daemon

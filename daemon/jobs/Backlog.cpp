// SPDX-License-Identifier: Apache-2.0
#include "jobs/Backlog.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>

#include "app/Log.h"
#include "loader/cache/KeptProducts.h"

namespace vellumo::daemon {
namespace {

using loader::Operation;

constexpr auto kSlice = std::chrono::milliseconds(20);
constexpr auto kLookEvery = std::chrono::milliseconds(500);
constexpr size_t kTasksAtOnce = 100;

// A document that cannot be converted because of something else is tried again after these times,
// and then no more: a walk finds it again on another day.
constexpr std::array kRetries{std::chrono::seconds(30), std::chrono::seconds(120),
                              std::chrono::seconds(600), std::chrono::seconds(3600)};

bool IsFolder(const std::string& realPath) {
    struct stat status {};
    return lstat(realPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

Backlog::Backlog(const DaemonSettings& settings, std::function<void()> followRenames)
    : _settings(settings), _followRenames(std::move(followRenames)) {}

void Backlog::Look() {
    if (Clock::now() - _looked >= kLookEvery) {
        _looked = Clock::now();
        TakeDue();
        if (_tasks.MayHaveMore()) {
            TakeTasks(TaskQueue::Kind::kUrgent, kTasksAtOnce);
            TakeTasks(TaskQueue::Kind::kOrdinary,
                      kMostAhead - std::min(kMostAhead, _agenda.Count(Lane::kQueued)));
        }
        TakeIndexQueue();
    }
    Walk();
}

void Backlog::TakeTasks(TaskQueue::Kind kind, size_t count) {
    for (const QueuedTask& task : _tasks.Take(kind, count)) {
        Accept(task);
    }
}

void Backlog::Accept(const QueuedTask& task) {
    const bool isUrgent = task.operation == Operation::kConvertNow;
    const Lane lane = isUrgent ? Lane::kNow : Lane::kQueued;
    if (task.isFolder || IsFolder(task.path) || task.operation == Operation::kRemove) {
        _folders.emplace_back(
            task.path, FolderWork::Task{task.operation, task.products, lane, {task.id}}, _settings);
        return;
    }
    _agenda.Add({task.path, task.products, lane, {task.id}});
}

void Backlog::TakeIndexQueue() {
    if (!_settings.looksAfterShares || _agenda.Count(Lane::kQueued) >= kMostAhead) {
        return;
    }
    for (const std::string& path : _index.Take(kTasksAtOnce)) {
        if (IsFolder(path)) {
            LookThrough(path);
            _index.Finish(path);
        } else {
            _agenda.Add({path, _settings.products, Lane::kQueued});
        }
    }
}

void Backlog::TakeDue() {
    const auto now = Clock::now();
    const auto isDue = [now](const Deferred& deferred) { return deferred.due <= now; };
    const auto due = std::stable_partition(_deferred.begin(), _deferred.end(),
                                           [&](const Deferred& each) { return !isDue(each); });
    std::for_each(due, _deferred.end(),
                  [this](Deferred& deferred) { _agenda.Add(std::move(deferred.item)); });
    _deferred.erase(due, _deferred.end());
}

// The work whose documents are the most urgent, of those that may find more.
FolderWork* Backlog::NextFolder() {
    FolderWork* next = nullptr;
    for (FolderWork& work : _folders) {
        if (HasRoom(work.What().lane) &&
            (next == nullptr || work.What().lane < next->What().lane)) {
            next = &work;
        }
    }
    return next;
}

bool Backlog::IsBusy() const {
    return std::any_of(_folders.begin(), _folders.end(),
                       [this](const FolderWork& work) { return HasRoom(work.What().lane); });
}

std::string Backlog::Folder() const {
    return _folders.empty() ? "" : _folders.front().Folder();
}

void Backlog::Walk() {
    const auto end = Clock::now() + kSlice;
    while (Clock::now() < end) {
        FolderWork* const work = NextFolder();
        if (work == nullptr) {
            return;
        }
        if (work->List()) {
            _followRenames();
        }
        if (!work->Step([this, work](const std::string& path) { Found(*work, path); })) {
            EndWalk(*work);
        }
    }
}

void Backlog::EndWalk(const FolderWork& work) {
    const auto ended = std::find_if(_folders.begin(), _folders.end(),
                                    [&work](const FolderWork& each) { return &each == &work; });
    _ended.splice(_ended.end(), _folders, ended);
    FinishEnded();
}

void Backlog::Found(FolderWork& work, const std::string& realPath) {
    work.Open(realPath);
    _agenda.Add({realPath, work.What().products, work.What().lane});
}

// What was found is in memory only, so a task stays in the queue until that is done too: a daemon
// that starts again looks through the folder once more.
void Backlog::FinishEnded() {
    for (auto work = _ended.begin(); work != _ended.end();) {
        if (work->HasOpen()) {
            ++work;
            continue;
        }
        _tasks.Finish(work->What().ids);
        _wholeScan = &*work == _wholeScan ? nullptr : _wholeScan;
        work = _ended.erase(work);
    }
}

void Backlog::Close(const Item& item, Outcome outcome) {
    _agenda.Finish(item.realPath);
    if (outcome == Outcome::kDeferred) {
        Defer(item);
        return;
    }
    _attempts.erase(item.realPath);
    _tasks.Finish(item.tasks);
    if (!_agenda.Has(item.realPath)) {  // else it is wanted again, and that work is not done
        CloseFound(item.realPath);
    }
    FinishEnded();
}

void Backlog::GiveBack(const Item& item) {
    _agenda.Finish(item.realPath);
    _agenda.Add(item);
}

void Backlog::CloseFound(const std::string& realPath) {
    _index.Finish(realPath);
    for (auto* works : {&_folders, &_ended}) {
        for (FolderWork& work : *works) {
            work.Close(realPath);
        }
    }
}

void Backlog::Defer(Item item) {
    const auto attempt = static_cast<size_t>(_attempts[item.realPath]++);
    if (attempt >= kRetries.size()) {
        Close(item, Outcome::kFailed);
        return;
    }
    _deferred.push_back({std::move(item), Clock::now() + kRetries.at(attempt)});
}

void Backlog::NoteChange(const std::string& realPath) {
    _agenda.Add({realPath, _settings.products, Lane::kChanged});
}

void Backlog::NoteFound(const std::string& realPath) {
    _agenda.Add({realPath, _settings.products, Lane::kFound});
}

void Backlog::LookThrough(const std::string& folder) {
    const auto there = std::find_if(_folders.begin(), _folders.end(), [&](const auto& work) {
        return work.What().lane == Lane::kFound && work.Tops().front() == folder;
    });
    if (there == _folders.end()) {
        LookThrough(watch::TreeScan({folder}));
    } else {
        there->GoRoundAgain();
    }
}

void Backlog::LookThrough(watch::TreeScan scan) {
    _folders.emplace_back(std::move(scan),
                          FolderWork::Task{Operation::kConvert, _settings.products, Lane::kFound},
                          _settings);
}

bool Backlog::LookThroughAllAgain() {
    const auto scan = std::find_if(_folders.begin(), _folders.end(),
                                   [this](const auto& work) { return &work == _wholeScan; });
    if (scan == _folders.end()) {
        return false;
    }
    scan->GoRoundAgain();
    return true;
}

void Backlog::LookThroughAll(watch::TreeScan scan) {
    LookThrough(std::move(scan));
    _wholeScan = &_folders.back();
}

}  // namespace vellumo::daemon

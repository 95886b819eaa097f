// SPDX-License-Identifier: Apache-2.0
#include "jobs/ShareWatch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

#include "app/Log.h"
#include "daemon/watch/Roots.h"
#include "loader/cache/MovedProducts.h"
#include "loader/failures/FailureMemory.h"
#include "support/TemporaryFile.h"
#include "vellumo/Constants.h"

namespace vellumo::daemon {
namespace {

namespace core = NAVO::VELLUMO;

constexpr const char* kOff = "off";
constexpr auto kSaveEvery = std::chrono::seconds(5);

std::string CheckpointFile() {
    return std::string(core::SZF_INDEX_QUEUE_DIR) + "scan";
}

std::string ReadCheckpoint() {
    std::ifstream file(CheckpointFile());
    return {std::istreambuf_iterator<char>(file), {}};
}

// A checkpoint that is lost or torn costs a complete look, nothing else.
void WriteCheckpoint(const std::string& text) {
    std::string path = CheckpointFile() + ".XXXXXX";
    const support::Descriptor file = support::MakeTemporaryFile(path);
    if (file && (write(file.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
                 rename(path.c_str(), CheckpointFile().c_str()) != 0)) {
        unlink(path.c_str());
    }
}

std::string WithoutLinks(const std::string& folder) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(folder.c_str(), nullptr),
                                                           std::free);
    return real ? real.get() : folder;
}

}  // namespace

ShareWatch::ShareWatch(const DaemonSettings& settings, Backlog& backlog)
    : _settings(settings), _backlog(backlog) {}

// Whether a process is one of the daemon's own does not matter: neither it nor its workers write to
// documents.
void ShareWatch::Adapt() {
    Plan plan = PlanNow();
    if (plan == _plan) {
        return;
    }
    FollowRenames();
    _plan = std::move(plan);
    _watching.reset();
    _settling.reset();
    if (_plan.roots.empty()) {
        return;
    }
    std::vector<std::string> real;
    std::transform(_plan.roots.begin(), _plan.roots.end(), std::back_inserter(real),
                   [](const Root& root) { return root.real; });
    watch::Settling::Limits limits;
    limits.settle = _plan.settle;
    _settling = std::make_unique<watch::Settling>(real, limits, Clock::now);
    watch::Watching::Options options;
    options.way = watch::WayOf(_plan.way).value_or(watch::Way::kAuto);
    options.pace.full = _plan.scanEvery;
    _watching = std::make_unique<watch::Watching>(std::move(real), options);
}

ShareWatch::Plan ShareWatch::PlanNow() const {
    Plan plan{{}, _settings.watch, _settings.settle, _settings.scanEvery};
    if (!_settings.looksAfterShares || _settings.watch == kOff) {
        return plan;
    }
    for (const loader::Share& share : _settings.shares.All()) {
        if (_settings.Covers(share.name)) {
            plan.roots.push_back({share.folder, WithoutLinks(share.folder)});
        }
    }
    return plan;
}

std::vector<std::string> ShareWatch::FoldersOfPlan() const {
    std::vector<std::string> folders;
    std::transform(_plan.roots.begin(), _plan.roots.end(), std::back_inserter(folders),
                   [](const Root& root) { return root.folder; });
    return folders;
}

// `path`, told by the kernel, as the documents of the share are known; the longest folder counts.
std::string ShareWatch::InShare(const std::string& path) const {
    const Root* found = nullptr;
    for (const Root& root : _plan.roots) {
        if (watch::IsWithin(path, root.real) &&
            (found == nullptr || root.real.size() > found->real.size())) {
            found = &root;
        }
    }
    return found == nullptr ? path : found->folder + path.substr(found->real.size());
}

void ShareWatch::Step() {
    if (!_watching) {
        return;
    }
    TakeEvents();
    TakeChanges();
    FollowScan();
}

void ShareWatch::FollowRenameOf(const std::string& realPath) {
    if (_watching) {
        TakeEvents();
        FollowMoves(_settling->TakeMovesIf(
            [&](const std::string& moved) { return watch::IsWithin(realPath, InShare(moved)); }));
    }
}

void ShareWatch::FollowRenames() {
    if (_watching) {
        TakeEvents();
        FollowMoves(_settling->TakeMoves());
    }
}

void ShareWatch::TakeEvents() {
    for (const watch::Change& change : _watching->Take()) {
        _settling->Add(change);
    }
}

void ShareWatch::TakeChanges() {
    if (!_backlog.HasRoom(Lane::kChanged)) {
        // Housekeeping would remove what has not followed.
        FollowMoves(_settling->TakeMoves());
        return;
    }
    const watch::Changes changes = _settling->TakeSettled();
    FollowMoves(changes);
    for (const watch::Change& change : changes) {
        Act(change);
    }
}

// Before anything else: the new paths are told as changed too, and what is kept of them is fresh.
void ShareWatch::FollowMoves(const watch::Changes& changes) const {
    std::vector<loader::Renamed> renamed;
    std::vector<std::pair<std::string, std::string>> paths;
    for (const watch::Change& change : changes) {
        if (change.kind == watch::Change::Kind::kMoved) {
            renamed.push_back({InShare(change.from), InShare(change.path)});
            paths.emplace_back(renamed.back().from, renamed.back().to);
        }
    }
    if (!renamed.empty()) {
        loader::MoveProducts(renamed);  // what does not follow is converted again
        loader::FailureMemory().NoteRenames(paths);
    }
}

void ShareWatch::Act(const watch::Change& change) {
    const std::string path = InShare(change.path);
    switch (change.kind) {
        case watch::Change::Kind::kChanged:
            if (_settings.Wants(path)) {
                _backlog.NoteChange(path);
            }
            break;
        case watch::Change::Kind::kRescan:
            Rescan(path);
            break;
        case watch::Change::Kind::kMoved:
        case watch::Change::Kind::kGone:
            break;  // housekeeping removes what was kept of it
    }
}

void ShareWatch::Rescan(const std::string& folder) {
    const bool isRoot = std::any_of(_plan.roots.begin(), _plan.roots.end(),
                                    [&](const Root& root) { return root.folder == folder; });
    if (isRoot) {
        LookThroughAll();
    } else {
        _backlog.LookThrough(folder);
    }
}

void ShareWatch::LookThroughAll() {
    if (_watching && !_backlog.LookThroughAllAgain()) {
        BeginScan();
    }
}

void ShareWatch::BeginScan() {
    auto scan = watch::TreeScan::Continue(ReadCheckpoint());
    watch::TreeScan whole(FoldersOfPlan());
    if (!scan || scan->Tops() != whole.Tops()) {
        scan = std::move(whole);
    }
    _backlog.LookThroughAll(std::move(*scan));
    _scans = true;
}

// Keeps the checkpoint, and begins the next scan when it is time.
void ShareWatch::FollowScan() {
    const auto now = Clock::now();
    FolderWork* const scan = _backlog.WholeScan();
    if (_scans && scan == nullptr) {
        unlink(CheckpointFile().c_str());
        _scans = false;
        _scanEnded = now;
        LogInfo("looked through the shares");
    } else if (scan != nullptr && now - _saved >= kSaveEvery) {
        _saved = now;
        if (const auto checkpoint = scan->TakeCheckpoint()) {
            WriteCheckpoint(*checkpoint);
        }
    } else if (!_scans && _watching->IsReady() && now - _scanEnded >= _settings.scanEvery) {
        BeginScan();
    }
}

std::vector<watch::WatchedRoot> ShareWatch::Status() const {
    return _watching ? _watching->Status() : std::vector<watch::WatchedRoot>();
}

}  // namespace vellumo::daemon

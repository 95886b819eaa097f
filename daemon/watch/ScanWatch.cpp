// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/ScanWatch.h"

#include <fcntl.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <tuple>
#include <utility>

namespace vellumo::watch {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Type = FolderListing::Entry::Type;

constexpr int kExamine = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

bool IsBefore(const timespec& one, const timespec& other) {
    return std::tie(one.tv_sec, one.tv_nsec) < std::tie(other.tv_sec, other.tv_nsec);
}

bool IsSame(const timespec& one, const timespec& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

}  // namespace

ScanWatch::Known ScanWatch::Unseen(const Known& known) {
    Known unseen;
    unseen.remains = known.remains;
    return unseen;
}

ScanWatch::ScanWatch(Roots roots, const Pace& pace)
    : _roots(std::move(roots)), _pace(pace), _nextFull(steady_clock::now() + pace.full) {}

std::unique_ptr<ScanWatch> ScanWatch::Start(const Roots& roots, const Pace& pace) {
    std::unique_ptr<ScanWatch> watch(new ScanWatch(roots, pace));
    watch->_timer =
        support::Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    if (!watch->_timer) {
        return nullptr;
    }
    for (const std::string& root : roots.Own()) {
        watch->_known[root].remains = true;
    }
    watch->Sleep(milliseconds(0));
    return watch;
}

void ScanWatch::Add(const std::string& root, bool remains) {
    if (_roots.Add(root)) {
        _known[root].remains = remains;
        Sleep(milliseconds(0));
    }
}

Changes ScanWatch::Take() {
    uint64_t expired = 0;
    if (read(_timer.Get(), &expired, sizeof(expired)) != sizeof(expired)) {
        return {};
    }
    Findings findings(_roots);
    Step(findings);
    return findings.Take();
}

void ScanWatch::Step(Findings& findings) {
    FolderListing::Entry entry;
    const auto end = steady_clock::now() + _pace.step;
    while (steady_clock::now() < end) {
        if (_listing && _listing->Next(entry)) {
            Examine(entry, findings);
            continue;
        }
        if (_listing) {
            EndListing(findings);
        } else if (!VisitNext(findings)) {
            EndPass();
            return;
        }
    }
    Sleep(_isFull && _isReady ? _pace.fullPause : _pace.pause);
}

bool ScanWatch::VisitNext(Findings& findings) {
    const auto next = _known.upper_bound(_at);
    if (next == _known.end()) {
        return false;
    }
    _at = next->first;
    Visit(next, findings);
    return true;
}

void ScanWatch::Visit(Folders::iterator folder, Findings& findings) {
    struct stat status {};
    const std::string root(_roots.RootOf(folder->first));
    support::Descriptor opened = OpenBelow(root, folder->first);
    Known& known = folder->second;
    if (!opened || fstat(opened.Get(), &status) != 0) {
        Lose(folder, findings);
        return;
    }
    if (known.isListed && known.inode != status.st_ino) {
        known = Unseen(known);  // another folder has the name
    }
    if (!_isFull && known.isListed && !known.isFresh && IsSame(known.modified, status.st_mtim)) {
        return;
    }
    _tellFrom = known.newest;
    _listed = known;
    _listed.isFresh = !known.isListed || !IsSame(known.modified, status.st_mtim);
    _listed.inode = status.st_ino;
    _listed.modified = status.st_mtim;
    _paths[status.st_ino] = folder->first;
    _listing.emplace(std::move(opened));
}

// The folder is not there, or no folder.
void ScanWatch::Lose(Folders::iterator folder, Findings& findings) {
    if (folder->second.remains) {
        folder->second = Unseen(folder->second);
        return;
    }
    const std::string path = folder->first;
    findings.Removed(path, true);
    Forget(path);
    _roots.Remove(path);
}

void ScanWatch::Examine(const FolderListing::Entry& entry, Findings& findings) {
    struct stat status {};
    const std::string path = EntryPath(_at, entry.name);
    const bool isFolder = entry.type == Type::kFolder;
    const bool isMeant =
        isFolder ? _roots.HasFolder(path) : entry.type == Type::kFile && _roots.HasFile(path);
    if (!isMeant || fstatat(_listing->Folder(), entry.name.c_str(), &status, kExamine) != 0) {
        return;
    }
    if (isFolder) {
        ExamineFolder(path, status.st_ino, findings);
        return;
    }
    if (_listed.isListed && !IsBefore(status.st_ctim, _tellFrom)) {
        findings.Written(path);
    }
    if (IsBefore(_listed.newest, status.st_ctim)) {
        _listed.newest = status.st_ctim;
    }
}

void ScanWatch::ExamineFolder(const std::string& path, ino_t inode, Findings& findings) {
    if (_known.contains(path)) {
        return;
    }
    const auto former = _paths.find(inode);
    struct stat status {};
    const bool isMoved = former != _paths.end() && _known.contains(former->second) &&
                         (lstat(former->second.c_str(), &status) != 0 || status.st_ino != inode);
    if (!isMoved) {
        _known.try_emplace(path);
        return;
    }
    const std::string from = former->second;
    findings.Moved(from, path, true);
    Rename(from, path);
}

// What was found counts from the beginning of the listing, so what changes meanwhile is found by
// the next one.
void ScanWatch::EndListing(Findings& findings) {
    _listing.reset();
    const auto folder = _known.find(_at);
    if (folder == _known.end()) {
        return;
    }
    if (!_listed.isListed && _isReady) {
        findings.Rescan(_at);
    }
    folder->second = _listed;
    folder->second.isListed = true;
}

void ScanWatch::EndPass() {
    const auto now = steady_clock::now();
    if (_isFull) {
        _nextFull = now + _pace.full;
    }
    _isReady = true;
    _isFull = now >= _nextFull;
    _at.clear();
    Sleep(_pace.between);
}

void ScanWatch::Forget(const std::string& path) {
    auto at = _known.lower_bound(path);
    while (at != _known.end() && at->first.starts_with(path)) {
        if (!IsWithin(at->first, path) || at->second.remains) {
            ++at;
            continue;
        }
        const auto known = _paths.find(at->second.inode);
        if (known != _paths.end() && known->second == at->first) {
            _paths.erase(known);
        }
        at = _known.erase(at);
    }
}

void ScanWatch::Rename(const std::string& from, const std::string& path) {
    std::vector<Folders::node_type> moved;
    auto at = _known.lower_bound(from);
    while (at != _known.end() && at->first.starts_with(from)) {
        const auto next = std::next(at);
        if (IsWithin(at->first, from)) {
            moved.push_back(_known.extract(at));
        }
        at = next;
    }
    for (Folders::node_type& node : moved) {
        node.key() = path + node.key().substr(from.size());
        _paths[node.mapped().inode] = node.key();
        _known.insert(std::move(node));
    }
}

// At least a nanosecond: 0 would stop the timer.
void ScanWatch::Sleep(milliseconds time) {
    const auto nanoseconds = std::max<int64_t>(std::chrono::nanoseconds(time).count(), 1);
    constexpr int64_t kSecond = 1000000000;
    itimerspec when{};
    when.it_value.tv_sec = nanoseconds / kSecond;
    when.it_value.tv_nsec = nanoseconds % kSecond;
    timerfd_settime(_timer.Get(), 0, &when, nullptr);
}

}  // namespace vellumo::watch

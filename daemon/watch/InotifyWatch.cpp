// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/InotifyWatch.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace vellumo::watch {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// No IN_ATTRIB: a conversion makes a link to its document, which would be such an event.
constexpr uint32_t kMask = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                           IN_ONLYDIR | IN_EXCL_UNLINK;
constexpr size_t kBuffer = size_t{16} * 1024;  // some hundred events
constexpr milliseconds kStep{5};               // of looking for folders
// The kernel queues both halves of a move one right after the other.
constexpr milliseconds kBetweenHalves{20};
constexpr size_t kHalfMoves = 1000;

bool AddToPoll(const support::Descriptor& poll, const support::Descriptor& descriptor) {
    epoll_event readable{};
    readable.events = EPOLLIN;
    return epoll_ctl(poll.Get(), EPOLL_CTL_ADD, descriptor.Get(), &readable) == 0;
}

}  // namespace

std::unique_ptr<InotifyWatch> InotifyWatch::Start(const Roots& roots) {
    std::unique_ptr<InotifyWatch> watch(new InotifyWatch(roots));
    return watch->Open() && watch->StartAnew() ? std::move(watch) : nullptr;
}

bool InotifyWatch::Open() {
    _poll = support::Descriptor(epoll_create1(EPOLL_CLOEXEC));
    _timer = support::Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    return _poll && _timer && AddToPoll(_poll, _timer);
}

// After a loss of events the paths of folders may be wrong, and folders may be missing.
bool InotifyWatch::StartAnew() {
    _tree = {};
    _listed.reset();
    _waiting.clear();
    _halfMoves.clear();
    _isReady = false;
    _events = support::Descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    for (const std::string& root : _roots.Own()) {
        _waiting.push_back({FolderTree::kNone, root});
    }
    Arm();
    return _events && AddToPoll(_poll, _events);
}

Changes InotifyWatch::Take() {
    Findings findings(_roots);
    uint64_t expired = 0;
    static_cast<void>(read(_timer.Get(), &expired, sizeof(expired)));  // it only wakes the caller
    ReadEvents(findings);
    GiveUpHalfMoves(steady_clock::now() - kBetweenHalves, findings);
    LookForFolders(findings);
    Arm();
    return findings.Take();
}

std::vector<std::string> InotifyWatch::TakeUnwatched() {
    return std::exchange(_unwatched, {});
}

void InotifyWatch::ReadEvents(Findings& findings) {
    std::array<char, kBuffer> buffer{};
    const ssize_t got =
        support::Uninterrupted([&] { return read(_events.Get(), buffer.data(), kBuffer); });
    const auto size = static_cast<size_t>(std::max<ssize_t>(got, 0));
    inotify_event event{};
    for (size_t at = 0; at + sizeof(event) <= size; at += sizeof(event) + event.len) {
        std::memcpy(&event, buffer.data() + at, sizeof(event));
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            StartAnew();  // without a new instance, every folder is unwatched
            return;
        }
        const char* const name = buffer.data() + at + sizeof(event);
        Examine(event, std::string(name, strnlen(name, event.len)), findings);
    }
}

void InotifyWatch::Examine(const inotify_event& event, const std::string& name,
                           Findings& findings) {
    if (!_tree.Has(event.wd)) {
        return;  // of a folder that was moved out of what is watched
    }
    if ((event.mask & IN_IGNORED) != 0) {
        const std::string root = _tree.RootOf(event.wd);
        if (_tree.PathOf(event.wd) == root) {
            _unwatched.push_back(root);  // the next folder of that name has no watch
        }
        _tree.Remove(event.wd);
    } else if ((event.mask & IN_MOVED_TO) != 0) {
        FinishMove(event, name, findings);
    } else if ((event.mask & IN_MOVED_FROM) != 0) {
        const bool isFolder = (event.mask & IN_ISDIR) != 0;
        _halfMoves[event.cookie] = {EntryPath(_tree.PathOf(event.wd), name),
                                    isFolder ? _tree.Find(event.wd, name) : FolderTree::kNone,
                                    isFolder, steady_clock::now()};
    } else if ((event.mask & IN_ISDIR) != 0) {
        ExamineFolder(event, name, findings);
    } else if ((event.mask & IN_DELETE) != 0) {
        findings.Removed(EntryPath(_tree.PathOf(event.wd), name), false);
    } else if ((event.mask & (IN_CREATE | IN_CLOSE_WRITE)) != 0) {
        findings.Written(EntryPath(_tree.PathOf(event.wd), name));
    }
}

void InotifyWatch::ExamineFolder(const inotify_event& event, const std::string& name,
                                 Findings& findings) {
    if ((event.mask & IN_DELETE) != 0) {
        findings.Removed(EntryPath(_tree.PathOf(event.wd), name), true);
    } else if ((event.mask & IN_CREATE) != 0) {
        _waiting.push_back({event.wd, name});
    }
}

void InotifyWatch::FinishMove(const inotify_event& event, const std::string& name,
                              Findings& findings) {
    const bool isFolder = (event.mask & IN_ISDIR) != 0;
    const std::string path = EntryPath(_tree.PathOf(event.wd), name);
    const auto half = _halfMoves.find(event.cookie);
    const std::string from = half == _halfMoves.end() ? "" : half->second.from;
    const int number = half == _halfMoves.end() ? FolderTree::kNone : half->second.number;
    if (half != _halfMoves.end()) {
        _halfMoves.erase(half);
    }
    findings.Moved(from, path, isFolder);
    if (!isFolder) {
        return;
    }
    if (!_tree.Has(number) || !_roots.HasFolder(path)) {
        Forget(number);
        _waiting.push_back({event.wd, name});
    } else if (!_tree.Put(number, event.wd, name)) {
        Forget(number);
    }
}

void InotifyWatch::GiveUpHalfMoves(Time before, Findings& findings) {
    for (auto at = _halfMoves.begin(); at != _halfMoves.end();) {
        if (at->second.since > before && _halfMoves.size() <= kHalfMoves) {
            ++at;
            continue;
        }
        findings.Removed(at->second.from, at->second.isFolder);
        Forget(at->second.number);
        at = _halfMoves.erase(at);
    }
}

void InotifyWatch::Forget(int number) {
    for (const int each : _tree.Remove(number)) {
        inotify_rm_watch(_events.Get(), each);  // a watch that is gone already is no failure
    }
}

void InotifyWatch::LookForFolders(Findings& findings) {
    FolderListing::Entry entry;
    const auto end = steady_clock::now() + kStep;
    while (steady_clock::now() < end) {
        if (_listed && _listed->listing.Next(entry)) {
            if (entry.type == FolderListing::Entry::Type::kFolder) {
                _waiting.push_back({_listed->number, entry.name});
            }
            continue;
        }
        _listed.reset();
        if (_waiting.empty()) {
            _isReady = true;
            return;
        }
        const Waiting next = std::move(_waiting.back());
        _waiting.pop_back();
        Watch(next, findings);
    }
}

void InotifyWatch::Watch(const Waiting& waiting, Findings& findings) {
    const bool isRoot = waiting.parent == FolderTree::kNone;
    if (!isRoot && !_tree.Has(waiting.parent)) {
        return;
    }
    const std::string path =
        isRoot ? waiting.name : EntryPath(_tree.PathOf(waiting.parent), waiting.name);
    if (!_roots.HasFolder(path)) {
        return;
    }
    support::Descriptor folder = OpenBelow(_roots.RootOf(path), path);
    const std::string self = "/proc/self/fd/" + std::to_string(folder.Get());
    const int number = folder ? inotify_add_watch(_events.Get(), self.c_str(), kMask) : -1;
    if (number < 0) {
        if (isRoot || (errno != ENOENT && errno != ENOTDIR && errno != ELOOP)) {
            _unwatched.push_back(path);
        }
        return;
    }
    if (!_tree.Put(number, waiting.parent, waiting.name)) {
        return;
    }
    if (_isReady) {
        findings.Rescan(path);
    }
    _listed.emplace(Listed{number, FolderListing(std::move(folder))});
}

// Wakes the caller for what is left to do although no event tells about it.
void InotifyWatch::Arm() {
    itimerspec when{};
    if (_listed || !_waiting.empty() || !_isReady) {
        when.it_value.tv_nsec = 1;
    } else if (!_halfMoves.empty()) {
        when.it_value.tv_nsec = std::chrono::nanoseconds(kBetweenHalves).count();
    }
    timerfd_settime(_timer.Get(), 0, &when, nullptr);
}

}  // namespace vellumo::watch

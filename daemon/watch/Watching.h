// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_WATCHING_H
#define VELLUMO_WATCH_WATCHING_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/watch/Change.h"
#include "daemon/watch/FanotifyWatch.h"
#include "daemon/watch/ScanWatch.h"
#include "support/Descriptor.h"

namespace vellumo::watch {

// How folders are watched. kAuto: by the first of the others that works for them.
enum class Way { kAuto, kFanotify, kInotify, kScan };

// "auto", "fanotify", "inotify", "scan".
const char* NameOf(Way way);
std::optional<Way> WayOf(std::string_view name);

// How one root is watched, for people.
struct WatchedRoot {
    std::string path;
    Way way;           // never kAuto
    bool isReady;      // all folders are watched
    std::string note;  // why it is not a better way, and what is not watched; "" if all is well
};

// Watches folders, each in the best way that works for it. Another file system that is mounted
// below a root when the object is made is watched as a root of its own.
//
// One thread uses an object. No operation waits for events.
class Watching {
public:
    struct Options {
        Way way = Way::kAuto;  // another one is used for all roots, or if it does not work, scans
        FanotifyWatch::IsOwn isOwn;  // may be empty; only fanotify knows whose a change is
        ScanWatch::Pace pace;
    };

    // `roots`: real paths of folders. One that is missing is watched by scans until it appears, and
    // afterwards. Throws std::system_error when the process has no more file descriptors.
    Watching(std::vector<std::string> roots, const Options& options);
    ~Watching();
    Watching(const Watching&) = delete;
    Watching& operator=(const Watching&) = delete;

    // A descriptor that poll() and epoll find readable when Take() has something to do. It belongs
    // to the object and stays the same.
    int Descriptor() const { return _poll.Get(); }

    // Does a small step of the work that there is, in a few milliseconds, and returns what it
    // found. Throws as the constructor does. A root is told as kRescan when it has become ready, at
    // the start and after a loss of events: what happened before is found by looking through it
    // (see TreeScan).
    Changes Take();

    // Whether all roots are watched.
    bool IsReady() const;

    std::vector<WatchedRoot> Status() const;

private:
    struct Part;  // roots that are watched together

    void Start(Part& part, const Options& options);
    bool Poll(int descriptor) const;
    void TakeFrom(Part& part, Changes& changes);
    void Scan(Part& part, const std::vector<std::string>& folders);

    support::Descriptor _poll;
    support::Descriptor _start;  // readable until the first Take(), which some parts are ready for
    std::vector<std::unique_ptr<Part>> _parts;
    ScanWatch::Pace _pace;
};

}  // namespace vellumo::watch

#endif

// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/Watching.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>

#include "daemon/watch/InotifyWatch.h"
#include "daemon/watch/Mounts.h"
#include "daemon/watch/Roots.h"

namespace vellumo::watch {
namespace {

struct WayName {
    Way way;
    const char* name;
};
constexpr std::array<WayName, 4> kNames = {{{Way::kAuto, "auto"},
                                            {Way::kFanotify, "fanotify"},
                                            {Way::kInotify, "inotify"},
                                            {Way::kScan, "scan"}}};

// The roots on each file system. The number of the device only tells which roots may share a
// watch; roots that need not be together work as well.
std::vector<std::vector<std::string>> ByFileSystem(const std::vector<std::string>& roots) {
    std::map<dev_t, std::vector<std::string>> groups;
    std::vector<std::vector<std::string>> all;
    for (const std::string& root : roots) {
        struct stat status {};
        if (lstat(root.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
            groups[status.st_dev].push_back(root);
        } else {
            all.push_back({root});
        }
    }
    std::transform(groups.begin(), groups.end(), std::back_inserter(all),
                   [](auto& group) { return std::move(group.second); });
    return all;
}

std::vector<std::string> Without(std::vector<std::string> all,
                                 const std::vector<std::string>& some) {
    std::erase_if(all, [&](const std::string& each) {
        return std::find(some.begin(), some.end(), each) != some.end();
    });
    return all;
}

void AddNote(std::string& note, const std::string& text) {
    note.append(note.empty() ? "" : "; ").append(text);
}

[[noreturn]] void Fail() {
    throw std::system_error(errno, std::generic_category(), "cannot watch folders");
}

// Why nothing but scans can find all changes in `root`; "" if that is not so.
std::string WhyOnlyScans(const std::string& root) {
    struct stat status {};
    if (lstat(root.c_str(), &status) != 0) {
        return std::strerror(errno);
    }
    if (!S_ISDIR(status.st_mode)) {
        return std::strerror(ENOTDIR);
    }
    return IsRemote(root) ? "its files may change without the kernel's knowledge" : "";
}

}  // namespace

const char* NameOf(Way way) {
    return std::find_if(kNames.begin(), kNames.end(),
                        [&](const WayName& entry) { return entry.way == way; })
        ->name;
}

std::optional<Way> WayOf(std::string_view name) {
    const auto* const entry = std::find_if(kNames.begin(), kNames.end(),
                                           [&](const WayName& each) { return each.name == name; });
    return entry == kNames.end() ? std::nullopt : std::optional(entry->way);
}

struct Watching::Part {
    Part(const std::vector<std::string>& own, const std::vector<std::string>& all)
        : roots(own, Without(all, own)) {}

    Roots roots;
    Way way = Way::kScan;
    std::unique_ptr<TreeWatch> watch;
    std::unique_ptr<ScanWatch> scan;  // of folders that the watch cannot watch
    bool wasReady = false;
    std::string note;

    bool IsReady() const { return watch->IsReady() && (!scan || scan->IsReady()); }

    // `error`: why the way does not work, if there is no watch.
    void Chose(Way tried, int error) {
        way = tried;
        if (!watch) {
            AddNote(note, std::string(NameOf(tried)) + ": " + std::strerror(error));
        }
    }
};

Watching::Watching(std::vector<std::string> roots, const Options& options)
    : _poll(epoll_create1(EPOLL_CLOEXEC)),
      _start(eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK)),
      _pace(options.pace) {
    std::ifstream table("/proc/self/mountinfo");
    const std::vector<std::string> mounts = MountsBelow(roots, table);
    const Roots given(roots);
    std::copy_if(mounts.begin(), mounts.end(), std::back_inserter(roots),
                 [&](const std::string& mount) { return given.HasFolder(mount); });
    std::sort(roots.begin(), roots.end());
    roots.erase(std::unique(roots.begin(), roots.end()), roots.end());
    for (const auto& own : ByFileSystem(roots)) {
        auto part = std::make_unique<Part>(own, roots);
        Start(*part, options);
        _parts.push_back(std::move(part));
    }
    if (!Poll(_start.Get())) {
        Fail();
    }
}

Watching::~Watching() = default;

void Watching::Start(Part& part, const Options& options) {
    const std::string onlyScans = WhyOnlyScans(part.roots.Own().front());
    const auto tries = [&](Way way) {
        const bool isWanted =
            options.way == way || (options.way == Way::kAuto && onlyScans.empty());
        return !part.watch && isWanted;
    };
    if (tries(Way::kFanotify)) {
        part.watch = FanotifyWatch::Start(part.roots, options.isOwn);
        part.Chose(Way::kFanotify, errno);
    }
    if (tries(Way::kInotify)) {
        part.watch = InotifyWatch::Start(part.roots);
        part.Chose(Way::kInotify, errno);
    }
    if (!part.watch) {
        part.note += part.note.empty() ? onlyScans : "";
        part.watch = ScanWatch::Start(part.roots, _pace);
        part.Chose(Way::kScan, errno);
    }
    if (!part.watch || !Poll(part.watch->Descriptor())) {
        Fail();
    }
}

bool Watching::Poll(int descriptor) const {
    epoll_event readable{};
    readable.events = EPOLLIN;
    return epoll_ctl(_poll.Get(), EPOLL_CTL_ADD, descriptor, &readable) == 0;
}

Changes Watching::Take() {
    Changes changes;
    uint64_t count = 0;
    static_cast<void>(read(_start.Get(), &count, sizeof(count)));  // it only wakes the caller
    for (const auto& part : _parts) {
        TakeFrom(*part, changes);
    }
    return changes;
}

void Watching::TakeFrom(Part& part, Changes& changes) {
    const auto append = [&](Changes found) {
        changes.insert(changes.end(), std::make_move_iterator(found.begin()),
                       std::make_move_iterator(found.end()));
    };
    append(part.watch->Take());
    Scan(part, part.watch->TakeUnwatched());
    if (part.scan) {
        append(part.scan->Take());
    }
    const bool isReady = part.IsReady();
    if (isReady && !part.wasReady) {
        for (const std::string& root : part.roots.Own()) {
            changes.push_back({Change::Kind::kRescan, root});
        }
    }
    part.wasReady = isReady;
}

void Watching::Scan(Part& part, const std::vector<std::string>& folders) {
    if (!folders.empty() && !part.scan) {
        part.scan = ScanWatch::Start(Roots({}, part.roots.Others()), _pace);
        if (!part.scan || !Poll(part.scan->Descriptor())) {
            Fail();
        }
    }
    const std::vector<std::string>& own = part.roots.Own();
    for (const std::string& folder : folders) {
        part.scan->Add(folder, std::find(own.begin(), own.end(), folder) != own.end());
    }
}

bool Watching::IsReady() const {
    return std::all_of(_parts.begin(), _parts.end(),
                       [](const auto& part) { return part->IsReady(); });
}

std::vector<WatchedRoot> Watching::Status() const {
    std::vector<WatchedRoot> status;
    for (const auto& part : _parts) {
        std::string note = part->note;
        const size_t scanned = part->scan ? part->scan->Tops() : 0;
        if (scanned > 0) {
            AddNote(note, std::to_string(scanned) +
                              " folders and those below them are scanned, because the limit "
                              "fs.inotify.max_user_watches is reached or they came back");
        }
        for (const std::string& root : part->roots.Own()) {
            status.push_back({root, part->way, part->IsReady(), note});
        }
    }
    std::sort(status.begin(), status.end(),
              [](const WatchedRoot& a, const WatchedRoot& b) { return a.path < b.path; });
    return status;
}

}  // namespace vellumo::watch

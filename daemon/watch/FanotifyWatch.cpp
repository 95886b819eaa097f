// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/FanotifyWatch.h"

#include <fcntl.h>
#include <sys/fanotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "support/Directory.h"

namespace vellumo::watch {
namespace {

constexpr unsigned kGroup = FAN_CLASS_NOTIF | FAN_CLOEXEC | FAN_NONBLOCK | FAN_REPORT_DFID_NAME;
// No FAN_ATTRIB: a conversion makes a link to its document, which would be such an event.
constexpr uint64_t kMask = FAN_CLOSE_WRITE | FAN_CREATE | FAN_DELETE | FAN_RENAME | FAN_ONDIR;
constexpr size_t kBuffer = size_t{64} * 1024;  // about a thousand events

// The names in an event: the file's folder as a handle, and its name in it.
struct Place {
    std::string folder;
    std::string name;
};
struct Places {
    Place present;
    Place former;  // of a renamed file
};

bool Exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

// Reads a record that has a struct file_handle and after it a name that ends in NUL.
Place PlaceIn(const char* record, size_t size) {
    file_handle head{};
    constexpr size_t kStart = sizeof(fanotify_event_info_fid);
    if (size < kStart + sizeof(head)) {
        return {};
    }
    std::memcpy(&head, record + kStart, sizeof(head));
    const size_t handleSize = sizeof(head) + head.handle_bytes;
    if (size <= kStart + handleSize) {
        return {};
    }
    const char* const name = record + kStart + handleSize;
    return {std::string(record + kStart, handleSize),
            std::string(name, strnlen(name, size - kStart - handleSize))};
}

Places PlacesIn(const char* event, const fanotify_event_metadata& metadata) {
    Places places;
    size_t at = metadata.metadata_len;
    fanotify_event_info_header head{};
    while (at + sizeof(head) <= metadata.event_len) {
        std::memcpy(&head, event + at, sizeof(head));
        if (head.len < sizeof(head) || at + head.len > metadata.event_len) {
            break;
        }
        if (head.info_type == FAN_EVENT_INFO_TYPE_OLD_DFID_NAME) {
            places.former = PlaceIn(event + at, head.len);
        } else {
            places.present = PlaceIn(event + at, head.len);
        }
        at += head.len;
    }
    return places;
}

std::string PathOf(HandlePaths& folders, const Place& place) {
    const std::string folder = place.folder.empty() ? "" : folders.PathOf(place.folder);
    return folder.empty() ? "" : EntryPath(folder, place.name);
}

}  // namespace

FanotifyWatch::FanotifyWatch(Roots roots, IsOwn isOwn)
    : _roots(std::move(roots)), _isOwn(std::move(isOwn)), _folders(_roots) {}

std::unique_ptr<FanotifyWatch> FanotifyWatch::Start(const Roots& roots, IsOwn isOwn) {
    std::unique_ptr<FanotifyWatch> watch(new FanotifyWatch(roots, std::move(isOwn)));
    watch->_events = support::Descriptor(fanotify_init(kGroup, O_RDONLY | O_CLOEXEC));
    if (!watch->_events) {
        return nullptr;
    }
    for (const std::string& root : roots.Own()) {
        if (!watch->Mark(root)) {
            return nullptr;
        }
    }
    return watch;
}

bool FanotifyWatch::Mark(const std::string& root) {
    constexpr unsigned kFlags = FAN_MARK_ADD | FAN_MARK_FILESYSTEM | FAN_MARK_ONLYDIR;
    support::Descriptor opened = support::OpenDirectory(root);
    if (!opened || fanotify_mark(_events.Get(), kFlags, kMask, opened.Get(), nullptr) != 0) {
        return false;
    }
    _folders.AddRoot(std::move(opened));
    return true;
}

Changes FanotifyWatch::Take() {
    Findings findings(_roots);
    std::array<char, kBuffer> buffer{};
    const ssize_t got =
        support::Uninterrupted([&] { return read(_events.Get(), buffer.data(), kBuffer); });
    const auto size = static_cast<size_t>(std::max<ssize_t>(got, 0));
    fanotify_event_metadata event{};
    for (size_t at = 0; at + sizeof(event) <= size; at += event.event_len) {
        std::memcpy(&event, buffer.data() + at, sizeof(event));
        if (event.event_len < sizeof(event) || event.event_len > size - at) {
            break;
        }
        Examine(buffer.data() + at, event, findings);
    }
    return findings.Take();
}

void FanotifyWatch::Examine(const char* bytes, const fanotify_event_metadata& event,
                            Findings& findings) {
    if ((event.mask & FAN_Q_OVERFLOW) != 0) {
        findings.RescanRoots();
        return;
    }
    const bool isFolder = (event.mask & FAN_ONDIR) != 0;
    const Places places = PlacesIn(bytes, event);
    const std::string from = PathOf(_folders, places.former);
    const std::string path = PathOf(_folders, places.present);
    if (isFolder && (event.mask & FAN_RENAME) != 0) {
        _folders.Forget();
    }
    if (_isOwn && _isOwn(event.pid)) {
        return;
    }
    if ((event.mask & FAN_RENAME) != 0) {
        findings.Moved(from, path, isFolder);
    } else if (isFolder && (event.mask & FAN_DELETE) != 0) {
        findings.Removed(path, true);  // of a new folder nothing is told before files are in it
    } else if (!isFolder && (event.mask & FAN_DELETE) != 0 && !Exists(path)) {
        findings.Removed(path, false);
    } else if (!isFolder) {
        findings.Written(path);  // the kernel may have merged a removal with what came after it
    }
}

}  // namespace vellumo::watch

// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/HandlePaths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

namespace vellumo::watch {
namespace {

constexpr size_t kRemembered = 1000;  // at most 4 MiB, as a path is at most 4 KiB

// The path of an open directory; "" when it was removed.
std::string PathOfOpened(const support::Descriptor& directory) {
    struct stat status {};
    if (fstat(directory.Get(), &status) != 0 || status.st_nlink == 0) {
        return "";  // its link in /proc would end in " (deleted)"
    }
    std::array<char, PATH_MAX> path{};
    const std::string self = "/proc/self/fd/" + std::to_string(directory.Get());
    const ssize_t size = readlink(self.c_str(), path.data(), path.size());
    const bool isWhole = size > 0 && static_cast<size_t>(size) < path.size();
    return isWhole ? std::string(path.data(), static_cast<size_t>(size)) : "";
}

// Opens a folder through `mount`, any open directory of its file system. Empty when there is no
// such folder any more.
support::Descriptor OpenByHandle(const support::Descriptor& mount, const std::string& handle) {
    alignas(file_handle) std::array<char, sizeof(file_handle) + MAX_HANDLE_SZ> aligned{};
    if (handle.size() > aligned.size()) {
        return {};
    }
    std::memcpy(aligned.data(), handle.data(), handle.size());
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): its last field has no fixed size
    auto* const whole = reinterpret_cast<file_handle*>(aligned.data());
    return support::Descriptor(
        open_by_handle_at(mount.Get(), whole, O_PATH | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

void HandlePaths::AddRoot(support::Descriptor root) {
    struct statx status {};
    // Without the number of the mount (before Linux 5.8) it is 0 for all, and fanotify cannot do
    // what is needed anyway.
    statx(root.Get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &status);
    if (std::none_of(_mounts.begin(), _mounts.end(),
                     [&](const Mount& mount) { return mount.id == status.stx_mnt_id; })) {
        _mounts.push_back({status.stx_mnt_id, std::move(root)});
    }
}

const std::string& HandlePaths::PathOf(const std::string& handle) {
    const auto known = _paths.find(handle);
    if (known != _paths.end()) {
        return known->second;
    }
    if (_paths.size() >= kRemembered) {
        _paths.clear();
    }
    return _paths.emplace(handle, Find(handle)).first->second;
}

// A path is one of the mount through which the folder was opened, and the roots may be on several
// mounts of one file system.
std::string HandlePaths::Find(const std::string& handle) const {
    for (const Mount& mount : _mounts) {
        const support::Descriptor folder = OpenByHandle(mount.opened, handle);
        std::string path = folder ? PathOfOpened(folder) : "";
        if (!_roots.RootOf(path).empty()) {
            return path;
        }
    }
    return "";
}

}  // namespace vellumo::watch

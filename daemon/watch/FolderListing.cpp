// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/FolderListing.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "support/Directory.h"

namespace vellumo::watch {
namespace {

using Type = FolderListing::Entry::Type;

Type TypeOf(mode_t mode) {
    if (S_ISDIR(mode)) {
        return Type::kFolder;
    }
    return S_ISREG(mode) ? Type::kFile : Type::kOther;
}

Type TypeOf(int folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) {
        return TypeOf(DTTOIF(entry.d_type));
    }
    struct stat status {};  // not every file system keeps the types in its folders
    const bool isThere = fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0;
    return isThere ? TypeOf(status.st_mode) : Type::kOther;
}

}  // namespace

support::Descriptor OpenBelow(std::string_view root, std::string_view path) {
    support::Descriptor folder = support::OpenDirectory(std::string(root));
    path.remove_prefix(std::min(root.size(), path.size()));
    while (folder && !path.empty()) {
        const size_t end = std::min(path.find('/'), path.size());
        if (end > 0) {
            folder = support::OpenDirectoryAt(folder, std::string(path.substr(0, end)));
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return folder;
}

FolderListing::FolderListing(support::Descriptor folder)
    : _entries(folder ? fdopendir(folder.Get()) : nullptr) {
    if (_entries) {
        static_cast<void>(folder.Release());  // belongs to `_entries` now
    }
}

bool FolderListing::Next(Entry& entry) {
    while (const dirent* found = _entries ? readdir(_entries.get()) : nullptr) {
        const std::string_view name = found->d_name;
        if (name != "." && name != "..") {
            entry.name = name;
            entry.type = TypeOf(Folder(), *found);
            return true;
        }
    }
    return false;
}

}  // namespace vellumo::watch

// SPDX-License-Identifier: Apache-2.0
#include "streamfolders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "support/Directory.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::NamesIn;
using vellumo::support::OpenDirectoryAt;
using vellumo::support::RemoveContents;

constexpr mode_t kMode = S_IRWXU;
constexpr mode_t kModeAbove = 0755;  // of the folder above kTreeElsewhere
constexpr mode_t kForOthers = S_IRWXG | S_IRWXO;
constexpr mode_t kForOthersToWrite = S_IWGRP | S_IWOTH;

bool HasParentComponent(std::string_view path) {
    while (!path.empty()) {
        const size_t end = std::min(path.find('/'), path.size());
        if (path.substr(0, end) == "..") {
            return true;
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return false;
}

std::string_view LastComponent(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

// Whether nobody but root can have put anything into the directory, or look into it.
bool IsRootsAlone(const struct stat& status) {
    return S_ISDIR(status.st_mode) && status.st_uid == 0 && (status.st_mode & kForOthers) == 0;
}

// Whether nobody but root can rename what is root's in the directory, and put something else there.
bool KeepsRootsNames(const struct stat& status) {
    return S_ISDIR(status.st_mode) && status.st_uid == 0 &&
           ((status.st_mode & kForOthersToWrite) == 0 || (status.st_mode & S_ISVTX) != 0);
}

// The folder above is root's, and may be a link.
std::string FolderAbove(const std::string& tree) {
    return tree.substr(0, tree.rfind('/'));
}

// Opens the tree, and creates it if it is missing.
Descriptor OpenTree(const std::string& tree) {
    if (!IsUsable(tree)) {
        return {};
    }
    const std::string above = FolderAbove(tree);
    if (tree == kTreeElsewhere) {
        mkdir(above.c_str(), kModeAbove);  // if it fails, so does the next call
    }
    const Descriptor folder(open(above.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder ? OpenOrMake(folder, tree.substr(above.size() + 1)) : Descriptor();
}

bool IsGone(int error) {
    return error == ENOENT || error == ENOTDIR;
}

}  // namespace

bool IsName(std::string_view text) {
    return !text.empty() && text != "." && text != ".." && text.find('/') == std::string_view::npos;
}

bool IsFilePath(const char* path) {
    return path != nullptr && *path == '/' && IsName(LastComponent(path)) &&
           !HasParentComponent(path);
}

bool IsUsable(const std::string& tree) {
    struct stat above {};
    struct stat status {};
    if (stat(FolderAbove(tree).c_str(), &above) != 0 ||
        (KeepsRootsNames(above) && lstat(tree.c_str(), &status) != 0)) {
        return errno == ENOENT || errno == ENOTDIR;
    }
    errno = EPERM;
    return KeepsRootsNames(above) && IsRootsAlone(status);
}

Descriptor OpenOrMake(const Descriptor& above, const std::string& name) {
    const bool isNew = mkdirat(above.Get(), name.c_str(), kMode) == 0;
    if (!isNew && errno != EEXIST) {
        return {};
    }
    Descriptor directory = OpenDirectoryAt(above, name);
    // The umask may have removed bits.
    if (directory && isNew && fchmod(directory.Get(), kMode) != 0) {
        return {};
    }
    return directory;
}

Descriptor OpenOrMakeFolder(const StreamDirectory& place) {
    Descriptor folder = OpenTree(place.tree);
    for (const std::string& name : place.folders) {
        if (folder) {
            folder = OpenOrMake(folder, FolderInTree(name));
        }
    }
    return folder;
}

bool RemoveOthers(const Descriptor& parent, const StreamDirectory& place) {
    const std::vector<std::string> names = NamesIn(parent);
    return std::all_of(names.begin(), names.end(), [&](const std::string& name) {
        const auto found = ParseName(place, name);
        if (!found || found->key != place.key || found->identity == place.identity) {
            return true;
        }
        const Descriptor other = OpenDirectoryAt(parent, name);
        return !other ||
               (RemoveContents(other) &&
                (unlinkat(parent.Get(), name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT));
    });
}

void RemoveEmptyFolders(const StreamDirectory& place) {
    for (std::string path = place.Parent(); path.size() > place.tree.size();
         path.erase(path.rfind('/'))) {
        if (rmdir(path.c_str()) != 0) {
            return;
        }
    }
}

std::optional<std::set<std::string>> NamesOfFilesIn(const std::string& folder,
                                                    const std::set<std::string>& keys) {
    std::set<std::string> names;
    const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) {
        return IsGone(errno) ? std::optional(names) : std::nullopt;
    }
    const std::vector<std::string> listed = NamesIn(opened);
    if (listed.empty() && errno != 0) {
        return std::nullopt;
    }
    for (const std::string& name : listed) {
        const std::string key = NameKey(name);
        if (!keys.contains(key)) {
            continue;
        }
        const auto identity = IdentityOf(opened.Get(), name.c_str());
        if (identity) {
            names.insert(StreamDirectory{"", {}, key, *identity}.Name());
        } else if (!IsGone(errno)) {
            return std::nullopt;
        }
    }
    return names;
}

}  // namespace NAVO::platform

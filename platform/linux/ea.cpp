// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <navo/ea.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "fail.h"
#include "readrights.h"
#include "streamtree.h"
#include "support/Directory.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::NamesIn;
using vellumo::support::OpenDirectory;
using vellumo::support::OpenDirectoryAt;
using vellumo::support::RemoveContents;

constexpr mode_t kMode = S_IRWXU;
constexpr mode_t kModeAbove = 0755;  // of the folder above kTreeElsewhere
constexpr mode_t kForOthers = S_IRWXG | S_IRWXO;
constexpr mode_t kForOthersToWrite = S_IWGRP | S_IWOTH;
constexpr int kFlags = 1;    // the only value of NAVOEAMKDir's and NAVOEARMDir's flags
constexpr int kTries = 100;  // to make a directory while another process removes empty folders

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

// Whether `text` names an entry of a directory: neither the directory itself nor a path out of it.
bool IsName(std::string_view text) {
    return !text.empty() && text != "." && text != ".." && text.find('/') == std::string_view::npos;
}

bool IsFilePath(const char* path) {
    return path != nullptr && *path == '/' && IsName(LastComponent(path)) &&
           !HasParentComponent(path);
}

// Copies `path` into `buffer`. Returns 0, or -1 when it does not fit.
int Give(const std::string& path, char* buffer, size_t size) {
    if (path.size() >= size) {
        return Fail(NAVO_ERR_NAME_TOO_LONG, ENAMETOOLONG);
    }
    buffer[path.copy(buffer, path.size())] = '\0';
    return 0;
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

// False, with errno, when something else than a tree that only root can enter is in its place, or
// when somebody else could put it there at any time.
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

// The identity of a file that is gone, if there is just one directory of its name.
FileIdentity LastIdentity(const StreamDirectory& place) {
    FileIdentity last;
    size_t count = 0;
    for (const std::string& name : NamesIn(OpenDirectory(place.Parent()))) {
        const auto found = ParseName(place, name);
        if (found && found->key == place.key) {
            last = found->identity;
            ++count;
        }
    }
    return count == 1 ? last : FileIdentity();
}

// Sets `directory` to the directory of the file's streams. Returns 0, or -1 with the last error.
int Find(const char* file, std::string& directory) {
    const SuccessKeepsErrno success;
    const ReadRights rights;
    StreamDirectory place = PlaceFor(file);
    if (!IsUsable(place.tree)) {
        return Fail(NAVO_ERR_NO_PERMISSION);
    }
    if (const auto identity = IdentityOf(AT_FDCWD, file)) {
        place.identity = *identity;
    } else if (errno == ENOENT || errno == ENOTDIR) {
        place.identity = LastIdentity(place);
    } else {
        return Fail(errno == ENAMETOOLONG ? NAVO_ERR_NAME_TOO_LONG : NAVO_ERR_NO_PERMISSION);
    }
    directory = place.Path();
    return 0;
}

// Opens the directory `name` in `above`, and creates it first if it is missing.
Descriptor OpenOrMake(const Descriptor& above, const std::string& name, mode_t mode) {
    const bool isNew = mkdirat(above.Get(), name.c_str(), mode) == 0;
    if (!isNew && errno != EEXIST) {
        return {};
    }
    Descriptor directory = OpenDirectoryAt(above, name);
    // The umask may have removed bits.
    if (directory && isNew && fchmod(directory.Get(), mode) != 0) {
        return {};
    }
    return directory;
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
    return folder ? OpenOrMake(folder, tree.substr(above.size() + 1), kMode) : Descriptor();
}

// Removes what was kept of other files that had this name.
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

bool Make(const StreamDirectory& place) {
    Descriptor folder = OpenTree(place.tree);
    for (const std::string& name : place.folders) {
        if (folder) {
            folder = OpenOrMake(folder, FolderInTree(name), kMode);
        }
    }
    return folder && OpenOrMake(folder, place.Name(), kMode) && RemoveOthers(folder, place);
}

// Removes empty folders, the deepest first, up to the tree.
void RemoveEmptyFolders(const StreamDirectory& place) {
    for (std::string path = place.Parent(); path.size() > place.tree.size();
         path.erase(path.rfind('/'))) {
        if (rmdir(path.c_str()) != 0) {
            return;
        }
    }
}

}  // namespace
}  // namespace NAVO::platform

int NAVOEADirPath(int flags, const char* path, char* buffer, size_t size) {
    using NAVO::platform::Fail;
    if (flags != 0 || !NAVO::platform::IsFilePath(path) || buffer == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    std::string directory;
    const int found = NAVO::platform::Find(path, directory);
    return found == 0 ? NAVO::platform::Give(directory, buffer, size) : found;
}

int NAVOEAPath(int flags, const char* path, const char* stream, char* buffer, size_t size,
               int reserved) {
    using NAVO::platform::Fail;
    if (flags != 0 || reserved != 0 || !NAVO::platform::IsFilePath(path) || stream == nullptr ||
        buffer == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    if (*stream != '\0' && !NAVO::platform::IsName(stream)) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    std::string result;
    const int found = NAVO::platform::Find(path, result);
    if (*stream != '\0') {
        result.append("/").append(stream);
    }
    return found == 0 ? NAVO::platform::Give(result, buffer, size) : found;
}

int NAVOEADirPathOfFile(int file, const char* path, char* buffer, size_t size) {
    using NAVO::platform::Fail;
    if (!NAVO::platform::IsFilePath(path) || buffer == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const NAVO::platform::SuccessKeepsErrno success;
    NAVO::platform::StreamDirectory place = NAVO::platform::PlaceFor(path);
    const auto identity = NAVO::platform::IdentityOf(file);
    if (!identity || !NAVO::platform::IsUsable(place.tree)) {
        return Fail(NAVO_ERR_NO_PERMISSION);
    }
    place.identity = *identity;
    return NAVO::platform::Give(place.Path(), buffer, size);
}

int NAVOEAMKDir(int flags, const char* directory) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    const auto place = NAVO::platform::ParseStreamDirectory(directory);
    if (flags != NAVO::platform::kFlags || !place) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    for (int i = 0; i < NAVO::platform::kTries; ++i) {
        if (NAVO::platform::Make(*place)) {
            return 0;
        }
        if (errno != ENOENT) {
            break;
        }
    }
    return Fail(NAVO_ERR_IO);
}

int NAVOEARMDir(int flags, const char* directory) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    const auto place = NAVO::platform::ParseStreamDirectory(directory);
    if (flags != NAVO::platform::kFlags || !place) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const std::string path = place->Path();
    if (!NAVO::platform::IsUsable(place->tree)) {
        return Fail(NAVO_ERR_IO);
    }
    const auto opened = NAVO::platform::OpenDirectory(path);
    if (!opened) {
        return errno == ENOENT ? 0 : Fail(NAVO_ERR_IO);
    }
    if (!NAVO::platform::RemoveContents(opened) || rmdir(path.c_str()) != 0) {
        return Fail(NAVO_ERR_IO);
    }
    NAVO::platform::RemoveEmptyFolders(*place);
    return 0;
}

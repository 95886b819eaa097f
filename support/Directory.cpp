// SPDX-License-Identifier: Apache-2.0
#include "support/Directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

namespace vellumo::support {
namespace {

constexpr int kListing = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

bool IsSpecial(const std::string& name) {
    return name == "." || name == "..";
}

bool IsAt(const Descriptor& directory, const Descriptor& above, const std::string& name) {
    struct stat opened {};
    struct stat present {};
    return fstat(directory.Get(), &opened) == 0 &&
           fstatat(above.Get(), name.c_str(), &present, AT_SYMLINK_NOFOLLOW) == 0 &&
           IsSameFile(opened, present);
}

// Leaves errno as NamesIn() says.
template <typename Take>
void ForEachEntry(const Descriptor& directory, const Take& take) {
    // Opened anew: reading moves the position, which duplicates of a descriptor share.
    Descriptor listing(openat(directory.Get(), ".", kListing));
    const std::unique_ptr<DIR, DirectoryCloser> entries(listing ? fdopendir(listing.Get())
                                                                : nullptr);
    if (entries == nullptr) {
        return;
    }
    static_cast<void>(listing.Release());  // belongs to `entries` now
    errno = 0;
    while (const dirent* entry = readdir(entries.get())) {
        if (!IsSpecial(entry->d_name)) {
            take(*entry);
        }
    }
}

// Opens a folder whatever its mode is: its owner may have removed the owner's own permissions.
Descriptor OpenWithRights(const Descriptor& above, const std::string& name) {
    const Descriptor found(
        openat(above.Get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!found) {
        return {};
    }
    // The mode of an O_PATH descriptor can be changed only by its name in /proc.
    const std::string self = "/proc/self/fd/" + std::to_string(found.Get());
    static_cast<void>(chmod(self.c_str(), S_IRWXU));  // a failure shows in the next call
    return OpenDirectoryAt(above, name);
}

// Empties a directory, the "top". It moves folders inside folders up into the top and empties them
// from there, so it never descends more than one level.
class Emptier {
public:
    explicit Emptier(const Descriptor& top) : _top(top) {}

    // Removes the entry `name` of the top.
    bool Remove(const std::string& name) {
        if (unlinkat(_top.Get(), name.c_str(), 0) == 0) {
            return true;
        }
        const Descriptor folder = OpenWithRights(_top, name);
        return folder && Dissolve(folder) && unlinkat(_top.Get(), name.c_str(), AT_REMOVEDIR) == 0;
    }

private:
    bool Dissolve(const Descriptor& folder) {
        const std::vector<std::string> names = NamesIn(folder);
        return std::all_of(names.begin(), names.end(), [&](const std::string& name) {
            return unlinkat(folder.Get(), name.c_str(), 0) == 0 ||
                   (OpenWithRights(folder, name) && MoveUp(folder, name));
        });
    }

    bool MoveUp(const Descriptor& folder, const std::string& name) {
        do {
            const std::string free = ".removed-" + std::to_string(_number++);
            if (renameat2(folder.Get(), name.c_str(), _top.Get(), free.c_str(), RENAME_NOREPLACE) ==
                0) {
                return true;
            }
        } while (errno == EEXIST);
        return false;
    }

    const Descriptor& _top;
    unsigned _number = 0;
};

}  // namespace

Descriptor OpenDirectory(const std::string& path) {
    return Descriptor(open(path.c_str(), kListing));
}

Descriptor OpenDirectoryAt(const Descriptor& above, const std::string& name) {
    return Descriptor(openat(above.Get(), name.c_str(), kListing));
}

Descriptor LockDirectoryAt(const Descriptor& above, const std::string& name) {
    Descriptor directory = OpenDirectoryAt(above, name);
    if (!directory || flock(directory.Get(), LOCK_EX | LOCK_NB) != 0) {
        errno = errno == ENOENT ? EWOULDBLOCK : errno;
        return {};
    }
    if (!IsAt(directory, above, name)) {
        errno = EWOULDBLOCK;
        return {};
    }
    return directory;
}

std::vector<std::string> NamesIn(const Descriptor& directory) {
    std::vector<std::string> names;
    ForEachEntry(directory, [&names](const dirent& entry) { names.emplace_back(entry.d_name); });
    return names;
}

std::vector<TypedName> TypedNamesIn(const Descriptor& directory) {
    std::vector<TypedName> names;
    ForEachEntry(directory, [&names](const dirent& entry) {
        names.push_back({entry.d_name, entry.d_type});
    });
    return names;
}

bool IsSameFile(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool LiesAt(const Descriptor& file, const std::string& path) {
    struct stat opened {};
    struct stat present {};
    return fstat(file.Get(), &opened) == 0 && stat(path.c_str(), &present) == 0 &&
           IsSameFile(opened, present);
}

bool RemoveContents(const Descriptor& directory) {
    Emptier emptier(directory);
    for (auto names = NamesIn(directory); !names.empty(); names = NamesIn(directory)) {
        for (const std::string& name : names) {
            if (!emptier.Remove(name) && errno != ENOENT) {  // ENOENT: another process removed it
                return false;
            }
        }
    }
    return errno == 0;
}

}  // namespace vellumo::support

// SPDX-License-Identifier: Apache-2.0
#include "Room.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>

#include "Failure.h"
#include "Statuses.h"
#include "jail/rooms.h"
#include "jail/users.h"
#include "support/Directory.h"

namespace vellumo::office {
namespace {

namespace fs = std::filesystem;
using support::Descriptor;

constexpr size_t kMostFiles = 20000;  // in one room
constexpr const char* kPrefix = "vellumo-office-";

[[noreturn]] void FailAt(const std::string& path) {
    throw Failure(kOfficeFailed, path + ": " + std::strerror(errno));
}

bool IsOf(const Descriptor& directory, const std::string& name, uid_t owner) {
    struct stat status {};
    return fstatat(directory.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           status.st_uid == owner;
}

void Remove(const Descriptor& above, const std::string& name) {
    support::RemoveContents(support::OpenDirectoryAt(above, name));
    if (unlinkat(above.Get(), name.c_str(), AT_REMOVEDIR) != 0) {
        unlinkat(above.Get(), name.c_str(), 0);
    }
}

// Removes those of processes that were killed.
void RemoveHomes(const std::string& above) {
    const Descriptor directory = support::OpenDirectory(above);
    for (const std::string& name : support::NamesIn(directory)) {
        if (name.rfind(kPrefix, 0) != 0 || !IsOf(directory, name, geteuid())) {
            continue;
        }
        if (const Descriptor home = support::LockDirectoryAt(directory, name)) {
            Remove(directory, name);
        }
    }
}

void MakeFolder(const std::string& path, uid_t owner) {
    if (mkdir(path.c_str(), S_IRWXU) != 0 ||
        (owner != geteuid() && lchown(path.c_str(), owner, owner) != 0)) {
        FailAt(path);
    }
}

}  // namespace

Home::Home(const std::string& above, uid_t firstUser)
    : _firstUser(firstUser), _hasUsers(firstUser != static_cast<uid_t>(-1)) {
    RemoveHomes(above);
    do {
        Create(above);
    } while (!_lock && errno == EWOULDBLOCK);  // another process took it for a leftover
    // Others may pass through it to a room, but not list it.
    if (!_lock || fchmod(_lock.Get(), S_IRWXU | S_IXGRP | S_IXOTH) != 0) {
        FailAt(_path);
    }
}

void Home::Create(const std::string& above) {
    _path = above + "/" + kPrefix + "XXXXXX";
    if (mkdtemp(_path.data()) == nullptr) {
        FailAt(_path);
    }
    _lock = support::LockDirectoryAt(support::OpenDirectory(above), fs::path(_path).filename());
}

Home::~Home() {
    const fs::path path(_path);
    Remove(support::OpenDirectory(path.parent_path()), path.filename());
}

Room::Room(Home& home) : _home(home) {
    while (home._taken.contains(_number)) {
        ++_number;
    }
    if (_number >= USERS_OF_OFFICE) {
        throw Failure(kOfficeFailed, "too many documents at a time");
    }
    _owner = home._hasUsers ? home._firstUser + _number : geteuid();
    _path = home._path + "/room-" + std::to_string(_number);
    MakeFolder(_path, _owner);
    home._taken.insert(_number);
}

Room::~Room() {
    Remove(support::OpenDirectory(_home._path), fs::path(_path).filename());
    if (_home._hasUsers) {
        rooms_remove_files_of(_owner);
    }
    _home._taken.erase(_number);
}

size_t Room::Size() const {
    size_t size = 0;
    size_t files = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(_path, error), end; entry != end && !error;
         entry.increment(error)) {
        if (++files > kMostFiles) {
            return SIZE_MAX;  // counting on would delay the other documents
        }
        struct stat status {};
        if (lstat(entry->path().c_str(), &status) == 0) {
            size += static_cast<size_t>(status.st_blocks) * 512;
        }
    }
    return size;
}

}  // namespace vellumo::office

// SPDX-License-Identifier: Apache-2.0
#include "jail/rooms.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "jail/users.h"
#include "support/Directory.h"

namespace {

using vellumo::support::Descriptor;
using vellumo::support::LockDirectoryAt;
using vellumo::support::NamesIn;
using vellumo::support::OpenDirectory;
using vellumo::support::OpenDirectoryAt;
using vellumo::support::RemoveContents;

constexpr unsigned kRooms = USERS_IN_BLOCK - USERS_OF_OFFICE - 1;
// With Landlock, a tool cannot write there.
constexpr const char* kShared[] = {"/tmp", "/dev/shm"};
constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;

uid_t OwnerOf(unsigned block, unsigned number) {
    const uid_t first = users_block(block);
    return first != static_cast<uid_t>(-1) ? first + USERS_OF_OFFICE + number : geteuid();
}

// Others may pass through the directory to a room, but not list it.
Descriptor OpenRooms(const std::string& rooms) {
    if (mkdir(rooms.c_str(), S_IRWXU | S_IXGRP | S_IXOTH) != 0 && errno != EEXIST) {
        return {};
    }
    Descriptor directory = OpenDirectory(rooms);
    struct stat status {};
    if (fstat(directory.Get(), &status) == 0 &&
        (status.st_uid != geteuid() || (status.st_mode & kOthersMayWrite) != 0)) {
        errno = EPERM;
        return {};
    }
    return directory;
}

void EndProcessesOf(uid_t owner) {
    if (owner != geteuid()) {
        static_cast<void>(users_end(owner));
    }
}

void Remove(const Descriptor& above, const std::string& name) {
    if (unlinkat(above.Get(), name.c_str(), 0) != 0) {
        RemoveContents(OpenDirectoryAt(above, name));
        unlinkat(above.Get(), name.c_str(), AT_REMOVEDIR);
    }
}

// Only who has locked the room may call this.
void Clear(const Descriptor& room, const Descriptor& rooms, const std::string& name, uid_t owner) {
    EndProcessesOf(owner);
    RemoveContents(room);
    if (owner != geteuid()) {
        rooms_remove_files_of(owner);
    }
    unlinkat(rooms.Get(), name.c_str(), AT_REMOVEDIR);
}

void ClearLeftover(const Descriptor& rooms, const std::string& name, uid_t owner) {
    if (const Descriptor room = LockDirectoryAt(rooms, name)) {
        Clear(room, rooms, name, owner);
    }
}

bool Make(const Descriptor& rooms, const std::string& name) {
    return mkdirat(rooms.Get(), name.c_str(), S_IRWXU) == 0;
}

// Empty, with errno EEXIST, when the room is in use.
Descriptor Take(const Descriptor& rooms, const std::string& name, uid_t owner) {
    bool isMade = Make(rooms, name);
    if (!isMade && errno == EEXIST) {
        ClearLeftover(rooms, name, owner);
        isMade = Make(rooms, name);
    }
    Descriptor room = isMade ? LockDirectoryAt(rooms, name) : Descriptor();
    if (isMade && !room) {
        errno = EEXIST;  // another process took it for a leftover
    }
    return room;
}

}  // namespace

int rooms_take(const char* rooms, unsigned block, struct room* room) {
    const Descriptor directory = OpenRooms(rooms);
    if (!directory) {
        return -1;
    }
    for (unsigned number = 0; number < kRooms; ++number) {
        const std::string name = std::to_string(number);
        room->owner = OwnerOf(block, number);
        Descriptor lock = Take(directory, name, room->owner);
        if (lock) {
            std::snprintf(room->path, sizeof room->path, "%s/%s", rooms, name.c_str());
            room->lock = lock.Release();
            return 0;
        }
        if (errno != EEXIST) {
            return -1;
        }
    }
    errno = EAGAIN;
    return -1;
}

void rooms_leave(struct room* room) {
    const std::string path = room->path;
    const size_t slash = path.rfind('/');
    const Descriptor lock(room->lock);
    Clear(lock, OpenDirectory(path.substr(0, slash)), path.substr(slash + 1), room->owner);
}

void rooms_sweep(const char* rooms, unsigned block) {
    const Descriptor directory = OpenRooms(rooms);
    for (unsigned number = 0; directory && number < kRooms; ++number) {
        ClearLeftover(directory, std::to_string(number), OwnerOf(block, number));
    }
}

void rooms_remove_files_of(uid_t owner) {
    for (const char* path : kShared) {
        const Descriptor directory = OpenDirectory(path);
        for (const std::string& name : NamesIn(directory)) {
            struct stat status {};
            if (fstatat(directory.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                status.st_uid == owner) {
                Remove(directory, name);
            }
        }
    }
}

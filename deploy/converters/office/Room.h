// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_ROOM_H
#define VELLUMO_OFFICE_ROOM_H

#include <sys/types.h>

#include <set>
#include <string>

#include "support/Descriptor.h"

namespace vellumo::office {

// The directory of this process, in memory, with its own temporary files and the rooms. Only the
// owner of a room can enter it. The destructor removes the directory.
class Home {
public:
    // Makes the directory in `above`. The rooms' owners are the user ids from `firstUser` on; with
    // -1, this process owns them itself, because it cannot become another user.
    Home(const std::string& above, uid_t firstUser);
    ~Home();
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;

    const std::string& Path() const { return _path; }
    int OwnFile() const { return _lock.Get(); }
    bool HasUsers() const { return _hasUsers; }

private:
    friend class Room;
    void Create(const std::string& above);  // leaves _lock empty, with errno, when it is not locked

    std::string _path;
    support::Descriptor _lock;  // of the directory, so that another process does not remove it
    uid_t _firstUser;
    bool _hasUsers;
    std::set<unsigned> _taken;  // numbers of the rooms
};

// The directory of one child, with a user id that no other living child has. The destructor removes
// it, and everything else of the user in shared directories.
class Room {
public:
    // Throws Failure when it cannot be made.
    explicit Room(Home& home);
    ~Room();
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    const std::string& Path() const { return _path; }
    uid_t Owner() const { return _owner; }

    // Bytes on the disk of all files in it; SIZE_MAX if they are more than any document needs.
    size_t Size() const;

private:
    Home& _home;
    unsigned _number = 0;
    std::string _path;
    uid_t _owner = 0;
};

}  // namespace vellumo::office

#endif

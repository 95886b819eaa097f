// SPDX-License-Identifier: Apache-2.0
#include "Sweep.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include "Room.h"
#include "support/Directory.h"

namespace vellumo::office {
namespace {

using support::Descriptor;

constexpr const char* kPrefix = "vellumo-room-";

bool IsOwn(const Descriptor& directory) {
    struct stat status {};
    return fstat(directory.Get(), &status) == 0 && status.st_uid == geteuid();
}

// True if the room is in use: vellumo-tool holds its lock. Removes it otherwise.
bool IsInUse(const Descriptor& rooms, const std::string& name) {
    const Descriptor room = support::OpenDirectoryAt(rooms, name);
    if (!room || !IsOwn(room)) {
        return false;  // not made by vellumo-tool
    }
    if (flock(room.Get(), LOCK_EX | LOCK_NB) != 0) {
        return true;
    }
    support::RemoveContents(room);
    unlinkat(rooms.Get(), name.c_str(), AT_REMOVEDIR);
    return false;
}

uid_t UserOfTools() {
    const char* value = std::getenv("VELLUMO_TOOL_UID");
    return value != nullptr ? static_cast<uid_t>(std::strtoul(value, nullptr, 10)) : geteuid();
}

// Reads the process's status, because root owns the /proc directory of a process that is not
// dumpable.
bool IsOf(const std::string& process, uid_t user) {
    std::ifstream file("/proc/" + process + "/status");
    std::string word;
    while (file >> word) {
        uid_t owner = 0;
        if (word == "Uid:" && file >> owner) {
            return owner == user;
        }
    }
    return false;
}

// Repeats until none is left: a process that forks while it is being killed leaves another.
void EndAllOf(uid_t user) {
    constexpr int kTries = 100;
    bool isLeft = true;
    for (int i = 0; isLeft && i < kTries; ++i) {
        isLeft = false;
        for (const std::string& name : support::NamesIn(support::OpenDirectory("/proc"))) {
            if (std::isdigit(static_cast<unsigned char>(name[0])) != 0 && IsOf(name, user)) {
                kill(static_cast<pid_t>(std::strtol(name.c_str(), nullptr, 10)), SIGKILL);
                isLeft = true;
            }
        }
    }
}

}  // namespace

void SweepRooms(const std::string& rooms) {
    const Descriptor directory = support::OpenDirectory(rooms);
    bool isUsed = false;
    for (const std::string& name : support::NamesIn(directory)) {
        isUsed = (name.rfind(kPrefix, 0) == 0 && IsInUse(directory, name)) || isUsed;
    }
    // A tool's room exists before the tool starts, so without a room in use, all these processes
    // are leftovers.
    const uid_t user = UserOfTools();
    if (!isUsed && user != geteuid()) {
        EndAllOf(user);
        RemoveAllOf(user);
    }
}

}  // namespace vellumo::office

// SPDX-License-Identifier: Apache-2.0
// Rooms: directories with a number, each for one document and the tool that converts it. The number
// decides the tool's user id, so that no two documents have the same user.
#ifndef VELLUMO_CONVERTERS_ROOMS_H
#define VELLUMO_CONVERTERS_ROOMS_H

#include <linux/limits.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

struct room {
    char path[PATH_MAX];
    int lock;     // descriptor of the directory, which is locked for as long as the room is in use
    uid_t owner;  // the tool's user; the caller's own where there are no other users
};

// Takes a free room in the directory `rooms`, which is made if it is missing and must belong to the
// caller alone. The users come from the block with the number `block`, see users.h. The room is an
// empty directory of the caller with mode 0700. Returns 0, or -1 with errno: EPERM if `rooms`
// belongs to somebody else, EAGAIN if all rooms are in use.
int rooms_take(const char* rooms, unsigned block, struct room* room);

// Kills every process of the room's user, removes the room and everything else of that user in the
// directories in which all users may write, and closes the lock.
void rooms_leave(struct room* room);

// Does the same for all rooms in `rooms` whose processes were killed before they could.
void rooms_sweep(const char* rooms, unsigned block);

// Removes everything of the user `owner` in the directories in which all users may write.
void rooms_remove_files_of(uid_t owner);

#ifdef __cplusplus
}
#endif

#endif

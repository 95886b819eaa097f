// SPDX-License-Identifier: Apache-2.0
// The room that a document and the tool that reads it have for themselves.
#ifndef VELLUMO_TOOL_ROOM_H
#define VELLUMO_TOOL_ROOM_H

#include <limits.h>
#include <sys/types.h>

struct Call;

typedef struct {
    char path[PATH_MAX];  // where all of it lies; empty when there is none
    char in[PATH_MAX];    // the copy of the document
    char out[PATH_MAX];   // the directory of what is made
    char home[PATH_MAX];
    uid_t owner;
    int lock;  // held as long as the room is used, so that nobody sweeps it
} Room;

// Makes the call's room for `owner`: in/ with the document, which stays this program's, out/ and
// home/. The room itself is only passed through, so nothing in it can be exchanged.
void enter_room(struct Call* call, uid_t owner);

// Takes it away, if there is one.
void leave_room(Room* room);

// A word of the command with its path moved into the room; the word itself if it names nothing
// there.
char* into_room(const struct Call* call, char* word);

// Brings what was made to the target directory.
void publish_products(struct Call* call);

#endif

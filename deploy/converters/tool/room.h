// SPDX-License-Identifier: Apache-2.0
// The room: a temporary directory for one document and the tool that converts it.
#ifndef VELLUMO_TOOL_ROOM_H
#define VELLUMO_TOOL_ROOM_H

#include <limits.h>

#include "jail/rooms.h"

struct Call;

typedef struct {
    struct room place;    // its path is empty when there is no room
    char in[PATH_MAX];    // the copy of the document
    char out[PATH_MAX];   // the directory for products
    char home[PATH_MAX];  // the tool's home and temporary directory
} Room;

// Makes the call's room: in/ with the document, which belongs to this program's user, and out/ and
// home/, which belong to the room's owner, the user of the tool. The owner may only pass through
// the room itself, so it cannot replace anything in it. Ends this program on failure.
void enter_room(struct Call* call);

// Ends what the tool has left and removes the room, if there is one.
void leave_room(Room* room);

// Replaces the path in an argument by the path in the room. Returns a new string, which lives as
// long as this program, or the argument itself if it names neither the document nor a product.
char* into_room(const struct Call* call, char* word);

// Publishes the products in the target directory. Ends this program on failure.
void publish_products(struct Call* call);

#endif

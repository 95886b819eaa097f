// SPDX-License-Identifier: Apache-2.0
// User ids for the programs that read a document: each has one that nobody else on the machine has.
// They come in blocks, one for each container or sandbox. A machine knows no accounts with them.
#ifndef VELLUMO_CONVERTERS_USERS_H
#define VELLUMO_CONVERTERS_USERS_H

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    USERS_IN_BLOCK = 64,
    USERS_OF_OFFICE = 32,  // the first ones of a block are for the forks of vellumo-office
    // The last one of a block is for users_end().
    // The embedded engine's sandboxes take the blocks below this one, containers take the others.
    USERS_FIRST_CONTAINER = 1024,
};

// Returns the first user id of the block with this number (0 or more), or (uid_t)-1 where this
// process cannot become another user: it is not root, or its user namespace has too few ids. Where
// the namespace has only the usual 65536 ids, a machine has 384 blocks, and numbers that differ by
// a multiple of that are the same block.
uid_t users_block(unsigned number);

// Kills every process of the user `user`, one of a block, in this process namespace. When it
// returns 0, none of them runs any code any more, although the kernel may not have removed all of
// them yet. Returns -1 with errno when the caller cannot become that user or start a process.
int users_end(uid_t user);

#ifdef __cplusplus
}
#endif

#endif

// SPDX-License-Identifier: Apache-2.0
#include "room.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "call.h"
#include "exchange/exchange.h"
#include "settings.h"

enum { FOLDER = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC };

// Removes the contents of a directory, and never anything else: its owner may be changing it
// meanwhile, so no name is looked up twice and no link is followed. If something cannot be removed,
// the room stays until vellumo-office removes it. Closes the descriptor.
static void empty(int directory) {
    DIR* entries = fdopendir(directory);
    if (entries == NULL) {
        (void)close(directory);
        return;
    }
    for (const struct dirent* entry = readdir(entries); entry != NULL; entry = readdir(entries)) {
        const bool self = strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0;
        if (self || unlinkat(directory, entry->d_name, 0) == 0) {
            continue;
        }
        const int below = openat(directory, entry->d_name, FOLDER);
        if (below >= 0) {
            empty(below);
        }
        (void)unlinkat(directory, entry->d_name, AT_REMOVEDIR);
    }
    (void)closedir(entries);
}

void leave_room(Room* room) {
    if (room->path[0] == '\0') {
        return;
    }
    empty(fcntl(room->lock, F_DUPFD_CLOEXEC, 0));
    (void)rmdir(room->path);
    (void)close(room->lock);
    room->path[0] = '\0';
}

_Noreturn static void fail_at(Call* call, const char* path) {
    fail(call, ROOM_FAILED, path, strerror(errno));
}

// Makes and locks the room. Between the two steps vellumo-office may have removed it as a leftover;
// then makes another.
static void make_room(Call* call) {
    Room* room = &call->room;
    struct stat status;
    do {
        char path[PATH_MAX];
        join(call, path, setting("VELLUMO_ROOMS", "/tmp"), "vellumo-room-XXXXXX");
        if (mkdtemp(path) == NULL) {
            fail_at(call, path);
        }
        memcpy(room->path, path, sizeof path);
        room->lock = open(path, FOLDER);
    } while (flock(room->lock, LOCK_EX) != 0 || fstat(room->lock, &status) != 0 ||
             status.st_nlink == 0);
}

static void make_folder(Call* call, char* path, const char* name, mode_t mode) {
    join(call, path, call->room.path, name);
    if (mkdir(path, mode) != 0) {
        fail_at(call, path);
    }
}

static void make_own_folder(Call* call, char* path, const char* name) {
    const uid_t owner = call->room.owner;
    make_folder(call, path, name, S_IRWXU);
    if (owner != geteuid() && lchown(path, owner, owner) != 0) {
        fail_at(call, path);
    }
}

static void copy_document(Call* call) {
    char folder[PATH_MAX];
    make_folder(call, folder, "in", S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH);
    join(call, call->room.in, folder, file_name(call->document));
    if (exchange_copy(&call->content, call->room.in) != 0) {
        fail_at(call, call->room.in);
    }
}

void enter_room(Call* call, uid_t owner) {
    Room* room = &call->room;
    room->owner = owner;
    make_room(call);
    make_own_folder(call, room->out, "out");
    make_own_folder(call, room->home, "home");
    if (call->document != NULL) {
        copy_document(call);
    }
    if (geteuid() != owner &&
        (chown(room->path, (uid_t)-1, owner) != 0 || chmod(room->path, S_IRWXU | S_IXGRP) != 0)) {
        fail_at(call, room->path);
    }
}

char* into_room(const Call* call, char* word) {
    const char* path = path_in(word);
    const int option = (int)(path - word);
    const char* made = within(path, target_directory());
    char* moved = NULL;
    if (call->document != NULL && strcmp(path, call->document) == 0) {
        (void)asprintf(&moved, "%.*s%s", option, word, call->room.in);
    } else if (made != NULL) {
        (void)asprintf(&moved, "%.*s%s/%s", option, word, call->room.out, made);
    }
    return moved != NULL ? moved : word;
}

void publish_products(Call* call) {
    char directory[PATH_MAX];
    char failed[EXCHANGE_NAME];
    char place[PATH_MAX];
    locate(call, directory, target_directory());
    const int made = open(call->room.out, FOLDER);
    const int target = made >= 0 ? open(directory, FOLDER) : -1;
    if (target < 0) {
        fail_at(call, made < 0 ? call->room.out : directory);
    }
    if (exchange_publish(made, target, failed) != 0) {
        const int error = errno;
        join(call, place, directory, failed);
        fail(call, ROOM_FAILED, place, strerror(error));
    }
    (void)close(made);
    (void)close(target);
}

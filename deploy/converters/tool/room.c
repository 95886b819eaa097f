// SPDX-License-Identifier: Apache-2.0
#include "room.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "call.h"
#include "exchange/exchange.h"
#include "exchange/products.h"
#include "exchange/words.h"
#include "jail/users.h"
#include "settings.h"

enum { FOLDER = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC };

void leave_room(Room* room) {
    if (room->place.path[0] != '\0') {
        rooms_leave(&room->place);
        room->place.path[0] = '\0';
    }
}

_Noreturn static void fail_at(Call* call, const char* path) {
    fail(call, ROOM_FAILED, path, strerror(errno));
}

static void make_folder(Call* call, char* path, const char* name, mode_t mode) {
    join(call, path, call->room.place.path, name);
    if (mkdir(path, mode) != 0) {
        fail_at(call, path);
    }
}

static void make_own_folder(Call* call, char* path, const char* name) {
    const uid_t owner = call->room.place.owner;
    make_folder(call, path, name, S_IRWXU);
    if (owner != geteuid() && lchown(path, owner, owner) != 0) {
        fail_at(call, path);
    }
}

static void copy_document(Call* call) {
    char folder[PATH_MAX];
    make_folder(call, folder, "in", S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH);
    join(call, call->room.in, folder, words_file_name(call->document));
    if (exchange_copy(&call->content, call->room.in) != 0) {
        fail_at(call, call->room.in);
    }
}

void enter_room(Call* call) {
    Room* room = &call->room;
    const char* rooms = setting("VELLUMO_ROOMS", "/tmp/vellumo-rooms");
    if (rooms_take(rooms, (unsigned)number("VELLUMO_USERS", USERS_FIRST_CONTAINER), &room->place) !=
        0) {
        room->place.path[0] = '\0';
        fail_at(call, rooms);
    }
    make_own_folder(call, room->out, "out");
    make_own_folder(call, room->home, "home");
    if (call->document != NULL) {
        copy_document(call);
    }
    const uid_t owner = room->place.owner;
    if (geteuid() != owner && (chown(room->place.path, (uid_t)-1, owner) != 0 ||
                               chmod(room->place.path, S_IRWXU | S_IXGRP) != 0)) {
        fail_at(call, room->place.path);
    }
}

char* into_room(const Call* call, char* word) {
    const char* path = words_path_in(word);
    const int option = (int)(path - word);
    const char* made = words_within(path, target_directory());
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
    struct products products;
    products_find(call->count, call->words, source_directory(), target_directory(), &products);
    if (exchange_publish(made, target, &products, failed) != 0) {
        const int error = errno;
        join(call, place, directory, failed);
        fail(call, ROOM_FAILED, place, strerror(error));
    }
    (void)close(made);
    (void)close(target);
}

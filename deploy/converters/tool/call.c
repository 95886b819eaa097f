// SPDX-License-Identifier: Apache-2.0
#include "call.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "settings.h"
#include "signals.h"

const char* file_name(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash != NULL ? slash + 1 : path;
}

const char* within(const char* path, const char* directory) {
    size_t length = strlen(directory);
    while (length > 0 && directory[length - 1] == '/') {
        --length;
    }
    if (strncmp(path, directory, length) != 0 || path[length] != '/') {
        return NULL;
    }
    const char* name = path + length + 1;
    return strchr(name, '/') == NULL && strcmp(name, "..") != 0 && strcmp(name, ".") != 0 ? name
                                                                                          : NULL;
}

const char* path_in(const char* word) {
    const char* equals = strchr(word, '=');
    return word[0] != '/' && equals != NULL ? equals + 1 : word;
}

void finish(Call* call, int status) {
    leave_room(&call->room);
    exit(status);
}

void fail(Call* call, int status, const char* what, const char* why) {
    (void)fprintf(stderr, "%s: %s: %s\n", call->tool, what, why);
    finish(call, status);
}

void join(Call* call, char* path, const char* directory, const char* name) {
    if (snprintf(path, PATH_MAX, "%s/%s", directory, name) >= PATH_MAX) {
        fail(call, REFUSED, name, "its path is too long");
    }
}

void locate(Call* call, char* place, const char* path) {
    if (snprintf(place, PATH_MAX, "%s%s", setting("VELLUMO_ROOT", ""), path) >= PATH_MAX) {
        fail(call, REFUSED, path, "its path is too long");
    }
}

static void find_document(Call* call) {
    for (int i = 1; i < call->count; ++i) {
        const char* path = path_in(call->words[i]);
        const char* name = within(path, source_directory());
        if (name == NULL || *name == '\0' ||
            (call->document != NULL && strcmp(call->document, path) == 0)) {
            continue;
        }
        if (call->document != NULL) {
            fail(call, REFUSED, path, "a second document; convert each on its own");
        }
        call->document = path;
    }
}

static void open_document(Call* call) {
    char place[PATH_MAX];
    const char* reason = NULL;
    locate(call, place, call->document);
    if (exchange_open(place, &call->content, &reason) != 0) {
        fail(call, REFUSED, call->document, reason != NULL ? reason : strerror(errno));
    }
}

Call begin_call(int count, char** words) {
    Call call = {.tool = file_name(words[0]), .words = words, .count = count};
    if (count > MAX_WORDS) {
        fail(&call, REFUSED, call.tool, "too many arguments");
    }
    call.signals = take_signals();
    find_document(&call);
    if (call.document != NULL) {
        open_document(&call);
    }
    return call;
}

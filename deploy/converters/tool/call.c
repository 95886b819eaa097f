// SPDX-License-Identifier: Apache-2.0
#include "call.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "exchange/words.h"
#include "settings.h"
#include "signals.h"

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
        const char* path = words_path_in(call->words[i]);
        const char* name = words_within(path, source_directory());
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
    Call call = {.tool = words_file_name(words[0]), .words = words, .count = count};
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

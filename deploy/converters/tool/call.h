// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOL_CALL_H
#define VELLUMO_TOOL_CALL_H

#include "exchange/exchange.h"
#include "room.h"

enum {
    REFUSED = 1,
    ROOM_FAILED = 125,
    NO_SUCH_TOOL = 127,
    ENDED_BY_SIGNAL = 128,
    MAX_WORDS = 64,
};

// One call of this program: what it is to do, and what it has for that.
typedef struct Call {
    const char* tool;  // what this program was called by
    char** words;      // the command
    int count;
    const char* document;              // its path, in the source directory; null when there is none
    struct exchange_document content;  // the document
    int signals;                       // where they are read from
    Room room;
} Call;

// Reads the command, takes the signals and opens the document, if there is one. Fails for one that
// is to be refused.
Call begin_call(int count, char** words);

// Leaves the room and ends this program.
_Noreturn void finish(Call* call, int status);

// The same, saying what could not be done and why.
_Noreturn void fail(Call* call, int status, const char* what, const char* why);

// The path (PATH_MAX) of `name` in `directory`; fails when it is too long.
void join(Call* call, char* path, const char* directory, const char* name);

// Where this program finds `path`, one in the scratch directories; likewise.
void locate(Call* call, char* place, const char* path);

const char* file_name(const char* path);

// The file name in a path right in `directory` ("" for the directory itself); null for every other.
const char* within(const char* path, const char* directory);

// The path in a word PATH, A=PATH or --option=PATH.
const char* path_in(const char* word);

#endif

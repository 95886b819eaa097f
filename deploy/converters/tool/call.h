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

// One call of this program: the command and the resources for it.
typedef struct Call {
    const char* tool;                  // the name under which this program was called
    char** words;                      // the command
    int count;                         // of the words
    const char* document;              // its path in the source directory; null if there is none
    struct exchange_document content;  // the open document
    int signals;                       // descriptor from which signals are read
    Room room;
} Call;

// Reads the command, takes the signals and opens the document, if there is one. Ends this program
// with REFUSED when the document is refused.
Call begin_call(int count, char** words);

// Removes the room and ends this program.
_Noreturn void finish(Call* call, int status);

// Writes "TOOL: WHAT: WHY" to standard error, removes the room and ends this program.
_Noreturn void fail(Call* call, int status, const char* what, const char* why);

// Writes the path of `name` in `directory` to `path`, which has PATH_MAX bytes. Ends this program
// when the path is too long.
void join(Call* call, char* path, const char* directory, const char* name);

// Writes to `place`, likewise, where this program finds `path`, a path in the scratch directories.
void locate(Call* call, char* place, const char* path);

#endif

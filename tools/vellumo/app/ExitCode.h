// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_EXITCODE_H
#define VELLUMO_TOOLS_EXITCODE_H

#include <span>

namespace vellumo::cli {

// The exit status of every command. One table serves the program, its help and its JSON, and a test
// compares the manual page with it. A number never changes its meaning.
enum class ExitCode : int {
    kDone = 0,
    kFailed = 1,
    kUsage = 2,
    kBadInput = 3,
    kUnsupportedType = 4,
    kTimeLimit = 5,
    kToolFailed = 6,
    kNotPrepared = 7,
    kPool = 8,
    kStateFile = 9,
    kOutput = 10,
    kDatabase = 11,
    kNotFound = 12,
    kDenied = 13,
    kRunTimeLimit = 14,
    kSettings = 15,
    kInterrupted = 130
};

struct ExitCodeEntry {
    ExitCode code;
    const char* kind;     // for programs: "error"."kind" in the JSON
    const char* meaning;  // for people
};

std::span<const ExitCodeEntry> ExitCodes();

// The table's row of `code`.
const ExitCodeEntry& EntryOf(ExitCode code);

}  // namespace vellumo::cli

#endif

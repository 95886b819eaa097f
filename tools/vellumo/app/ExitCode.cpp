// SPDX-License-Identifier: Apache-2.0
#include "app/ExitCode.h"

#include <algorithm>

namespace vellumo::cli {
namespace {

constexpr ExitCodeEntry kExitCodes[] = {
    {ExitCode::kDone, "done", "everything was done"},
    {ExitCode::kFailed, "failed", "a failure that no other code names"},
    {ExitCode::kUsage, "usage", "wrong arguments, or a page range that is none"},
    {ExitCode::kBadInput, "bad-input",
     "the document is missing, no file, unreadable or empty, or its share is unknown"},
    {ExitCode::kUnsupportedType, "unsupported-type", "no converter takes documents of this type"},
    {ExitCode::kTimeLimit, "time-limit", "the conversion tool reached its limit of 120 seconds"},
    {ExitCode::kToolFailed, "tool-failure",
     "the conversion tool could not be started or made no usable product"},
    {ExitCode::kNotPrepared, "not-prepared", "the conversion could not be prepared"},
    {ExitCode::kPool, "pool", "the pool lacks containers, or refuses the change"},
    {ExitCode::kStateFile, "state-file", "the state file cannot be locked, read or written"},
    {ExitCode::kOutput, "output", "the output exists already or cannot be written"},
    {ExitCode::kDatabase, "database", "a database cannot be opened, read or written"},
    {ExitCode::kNotFound, "not-found", "what was asked for does not exist"},
    {ExitCode::kDenied, "denied", "the user may not read the document"},
    {ExitCode::kInterrupted, "interrupted", "interrupted by a signal"},
};

}  // namespace

std::span<const ExitCodeEntry> ExitCodes() {
    return kExitCodes;
}

const ExitCodeEntry& EntryOf(ExitCode code) {
    return *std::find_if(std::begin(kExitCodes), std::end(kExitCodes),
                         [code](const ExitCodeEntry& entry) { return entry.code == code; });
}

}  // namespace vellumo::cli

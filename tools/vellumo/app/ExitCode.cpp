// SPDX-License-Identifier: Apache-2.0
#include "app/ExitCode.h"

#include <algorithm>

namespace vellumo::cli {
namespace {

constexpr ExitCodeEntry kExitCodes[] = {
    {ExitCode::kDone, "done", "everything was done"},
    {ExitCode::kFailed, "failed", "a failure that has no code of its own"},
    {ExitCode::kUsage, "usage", "wrong arguments, or an invalid page range"},
    {ExitCode::kBadInput, "bad-input",
     "the document is missing, unreadable, empty or not a file, or its share is unknown"},
    {ExitCode::kUnsupportedType, "unsupported-type", "no converter takes documents of this type"},
    {ExitCode::kTimeLimit, "time-limit", "the conversion tool reached its limit of 120 seconds"},
    {ExitCode::kToolFailed, "tool-failure",
     "the conversion tool could not be started or made no usable product"},
    {ExitCode::kNotPrepared, "not-prepared", "the conversion could not be prepared"},
    {ExitCode::kPool, "pool", "the pool lacks containers, is not healthy, or refuses the change"},
    {ExitCode::kStateFile, "state-file", "the state file cannot be locked, read or written"},
    {ExitCode::kOutput, "output", "the output exists already or cannot be written"},
    {ExitCode::kDatabase, "database", "a database cannot be opened, read or written"},
    {ExitCode::kNotFound, "not-found", "there is no such task, record or link"},
    {ExitCode::kDenied, "denied", "the user may not read the document"},
    {ExitCode::kRunTimeLimit, "run-time-limit",
     "the run reached its --time-limit, and documents are left"},
    {ExitCode::kSettings, "settings",
     "the file of the settings cannot be read or written, or has errors"},
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

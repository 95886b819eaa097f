// SPDX-License-Identifier: Apache-2.0
#include "Explanations.h"

#include <sys/wait.h>

#include <algorithm>
#include <iterator>

namespace vellumo::cli {
namespace {

struct Advice {
    ExitCode code;
    const char* why;
    const char* next;
};

constexpr Advice kAdvice[] = {
    {ExitCode::kTimeLimit, "reached its limit of 120 seconds and was ended",
     "Try a part of the document, as in 'vellumo pdf --pages 1-10'."},
    {ExitCode::kToolFailed, "made no usable product",
     "The document may be damaged, protected by a password, or not of the type that its name "
     "says: open it with its own program."},
    {ExitCode::kNotPrepared, "was not reached: the conversion could not be prepared",
     "The system log has the reason: journalctl -t vellumo."},
};

std::string DescribeDeath(int status) {
    return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended with status " + std::to_string(WEXITSTATUS(status));
}

struct InterruptMeaning {
    Ending::Kind kind;
    const char* why;
    const char* next;
};

constexpr InterruptMeaning kInterrupts[] = {
    {Ending::Kind::kStopped, "interrupted", ""},
    {Ending::Kind::kLeftBehind, "interrupted while it waited for a slot",
     "Its request stays queued and is dropped when its turn comes; 'vellumo pool' shows the "
     "queue."},
    {Ending::Kind::kAbandoned, "interrupted while it waited for a slot",
     "If 'vellumo pool' goes on showing its request, 'vellumo pool reset --yes' empties the "
     "queue."},
};

}  // namespace

Problem ExplainResult(int result, const std::string& what, const std::string& tool) {
    const ExitCode code = FromResult(result);
    for (const Advice& advice : kAdvice) {
        if (advice.code == code) {
            return {code, what, "the tool (" + tool + ") " + advice.why, advice.next, {}};
        }
    }
    return {code,
            what,
            "the library answered " + std::to_string(result),
            "The system log may tell more: journalctl -t vellumo.",
            {}};
}

Problem ExplainDeath(const std::string& what, int status) {
    return {ExitCode::kFailed,
            what,
            "its worker process " + DescribeDeath(status),
            "If 'vellumo pool' shows a container in use though nothing runs, remove it with "
            "--force and add it again.",
            {}};
}

Problem ExplainInterrupt(const std::string& what, Ending::Kind kind) {
    const auto* meaning =
        std::find_if(std::begin(kInterrupts), std::end(kInterrupts),
                     [kind](const InterruptMeaning& candidate) { return candidate.kind == kind; });
    return {ExitCode::kInterrupted, what, meaning->why, meaning->next, {}};
}

Problem ExplainNothingKept(const std::string& what) {
    return {ExitCode::kFailed,
            what,
            "nothing is kept beside the document: it could not be stored, or another process is at "
            "work on it",
            "Try again in a moment. The system log has the reason if it cannot be stored "
            "(journalctl -t vellumo).",
            {}};
}

Problem ExplainEarlierFailure(const std::string& what) {
    return {ExitCode::kToolFailed,
            what,
            "an earlier attempt failed, and the document has not changed since",
            "Try it again with --refresh.",
            {}};
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/Endings.h"

#include <sys/wait.h>

#include <algorithm>
#include <iterator>

namespace vellumo::loader {
namespace {

constexpr int kSuccess = 1000;

struct ResultMeaning {
    int result;
    Reason reason;
    const char* why;
    const char* next;
};

constexpr ResultMeaning kResults[] = {
    {1001, Reason::kTimeLimit, "reached its limit of 120 seconds and was ended",
     "Convert fewer pages of the document."},
    {1002, Reason::kToolFailed, "made no usable product",
     "The document may be damaged, protected by a password, or not of the type that its name "
     "says: open it with its own program."},
    {1003, Reason::kNotPrepared, "was not reached: the conversion could not be prepared",
     "The system log has the reason."},
};

struct StopMeaning {
    Ending::Kind kind;
    Reason reason;
    const char* why;
};

constexpr StopMeaning kStops[] = {
    {Ending::Kind::kStopped, Reason::kInterrupted, "interrupted"},
    {Ending::Kind::kLeftBehind, Reason::kLeftQueued, "interrupted while it waited for a slot"},
    {Ending::Kind::kAbandoned, Reason::kAbandoned, "interrupted while it waited for a slot"},
};

std::string DescribeDeath(int status) {
    return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

bool IsSuccess(int result) {
    return result == kSuccess;
}

Problem ExplainResult(int result, const std::string& what, const std::string& tools) {
    for (const ResultMeaning& meaning : kResults) {
        if (meaning.result == result) {
            return {meaning.reason, what, "the tool (" + tools + ") " + meaning.why, meaning.next};
        }
    }
    return {Reason::kUnknownResult, what, "the library returned " + std::to_string(result),
            "The system log may say more."};
}

Problem ExplainEngine(const std::string& what, const std::string& words) {
    return {Reason::kEngineFailed, what,
            "the container engine, or a container, does not work: " + words,
            "'vellumo doctor' tells what to do."};
}

Problem ExplainDeath(const std::string& what, int status) {
    return {Reason::kWorkerDied, what, "its worker process " + DescribeDeath(status), ""};
}

Problem ExplainStop(const std::string& what, Ending::Kind kind) {
    const auto* meaning =
        std::find_if(std::begin(kStops), std::end(kStops),
                     [kind](const StopMeaning& candidate) { return candidate.kind == kind; });
    return {meaning->reason, what, meaning->why, ""};
}

Problem ExplainNothingKept(const std::string& what) {
    return {Reason::kNotKept, what,
            "nothing is kept: the product could not be stored, the document was replaced, or "
            "another process works on it",
            "Try again in a moment. If it fails again, the system log has the reason."};
}

}  // namespace vellumo::loader

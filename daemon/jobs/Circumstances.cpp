// SPDX-License-Identifier: Apache-2.0
#include "jobs/Circumstances.h"

namespace vellumo::daemon {

using loader::Reason;

bool IsCircumstance(const loader::Problem& problem) {
    switch (problem.reason) {
        case Reason::kUnreachable:
        case Reason::kNotPrepared:
        case Reason::kInterrupted:
        case Reason::kLeftQueued:
        case Reason::kAbandoned:
        case Reason::kNotKept:
        case Reason::kNowhereToKeep:
            return true;
        default:
            return IsOfServer(problem);
    }
}

bool IsOfServer(const loader::Problem& problem) {
    switch (problem.reason) {
        case Reason::kEngineFailed:
        case Reason::kShareSettings:
        case Reason::kNoRights:
        case Reason::kNoScratchShare:
        case Reason::kNoEngine:
        case Reason::kNoContainer:
        case Reason::kOneContainer:
        case Reason::kStateFileLocked:
        case Reason::kStateFileUnopenable:
        case Reason::kStateFileDamaged:
        case Reason::kStateFileUnwritable:
        case Reason::kNoProcess:
        case Reason::kIndexUnopenable:
        case Reason::kIndexUnreadable:
            return true;
        default:
            return false;
    }
}

}  // namespace vellumo::daemon

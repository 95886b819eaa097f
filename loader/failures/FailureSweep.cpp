// SPDX-License-Identifier: Apache-2.0
#include "loader/failures/FailureSweep.h"

#include "loader/failures/FailureMemory.h"

namespace vellumo::loader {
namespace {

// Why the failure cannot be forgotten; "" when it is.
std::string Forget(const FailureMemory& memory, const RememberedFailure& failure) {
    try {
        memory.Forget(std::vector{failure});
        return "";
    } catch (const Failure& problem) {
        return problem.what();
    }
}

}  // namespace

void SweepFailures(bool isDryRun, SweepWatch& watch) {
    const FailureMemory memory;
    for (const RememberedFailure& failure : memory.Gone()) {
        if (watch.WantsEnd()) {
            return;
        }
        const Leftover leftover{Leftover::Kind::kFailure, failure.path};
        if (!watch.Spares(leftover)) {
            watch.Finds(leftover, isDryRun ? "" : Forget(memory, failure));
        }
    }
}

}  // namespace vellumo::loader

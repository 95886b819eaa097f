// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLREPAIR_H
#define VELLUMO_TOOLS_POOLREPAIR_H

#include "pool/Engine.h"
#include "pool/Steps.h"

// What a crash leaves in the state file, taken out of it where it provably belongs to nobody any
// more. Both watch for some seconds when there is something to look at, and throw Failure when the
// state file cannot be used.
namespace vellumo::cli {

// Sets the counts of containers right that count as busy while nothing runs in them.
void MendCounts(const Engine& engine, Steps& steps);

// Drops jobs that count as running while nothing runs, and those that wait while containers are
// free and nobody begins them. To be called when the pool is whole: without containers also a job
// that somebody waits for stays.
void DropLeftJobs(Steps& steps);

}  // namespace vellumo::cli

#endif

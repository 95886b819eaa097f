// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLREPAIR_H
#define VELLUMO_TOOLS_POOLREPAIR_H

#include <map>
#include <string>

#include "pool/Engine.h"
#include "pool/Steps.h"

// Repairs of the state file after a crash. All take only what provably belongs to no living
// process: they watch it for some seconds first, if there is any. All throw Failure when the state
// file cannot be used.
namespace vellumo::cli {

// The containers that count as busy while no command runs in them, each with the number of commands
// ever started in it.
std::map<std::string, int> IdleThoughBusy(const Engine& engine);

// Sets the count of every container to 0 that counts as busy while no command runs in it.
void MendCounts(const Engine& engine, Steps& steps);

// Drops jobs that count as running while nothing runs, and jobs that wait while containers are free
// and no process starts them. Call it when the containers are registered: without any, a job stays
// in the queue although a process waits for it.
void DropLeftJobs(Steps& steps);

}  // namespace vellumo::cli

#endif

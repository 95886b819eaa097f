// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_WORKER_H
#define VELLUMO_TESTS_WORKER_H

#include <string>
#include <vector>

#include "Process.h"

namespace vellumo::test {

using Worker = RunningProgram;

// Start a pool_worker or a queue_worker, see there.
Worker PoolWorker(const std::vector<std::string>& arguments);
Worker QueueWorker(const std::vector<std::string>& arguments);

// Lets workers that say "ready" begin when all of them are, and waits for their ends, which must be
// good ones.
void RunTogether(std::vector<Worker>& workers);

// Waits for their ends, which must be good ones.
void ExpectGoodEnds(std::vector<Worker>& workers);

}  // namespace vellumo::test

#endif

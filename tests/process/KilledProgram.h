// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_KILLEDPROGRAM_H
#define VELLUMO_TESTS_KILLEDPROGRAM_H

#include <string>
#include <vector>

namespace vellumo::test {

// Runs a program and kills it, with SIGKILL, when it is about to make its `step`-th change (1 is
// the first) of what outlives it: of a file, a directory, a lock or its child processes. Waits for
// the programs that it has started. Returns the name of that system call; "" when the program has
// ended before. The caller has no other child processes.
std::string KilledAtStep(const std::vector<std::string>& command, int step);

}  // namespace vellumo::test

#endif

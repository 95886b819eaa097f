// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_PROGRAM_H
#define VELLUMO_SUPPORT_PROGRAM_H

#include <chrono>
#include <string>
#include <vector>

namespace vellumo::support {

// The result of running a program.
struct Answer {
    int status;          // exit status; -1 when it did not start or did not exit by itself in time
    std::string output;  // the end of its output, without trailing newlines; for -1 the reason
};

// Runs `program` (absolute path) with `arguments` and an empty standard input, and waits until it
// ends. Kills it when it has not ended within `limit`. `output` is the end of what it writes to its
// standard output and standard error.
Answer Ask(const std::string& program, const std::vector<std::string>& arguments,
           std::chrono::seconds limit);

// The same without a time limit, for work that a person watches: the program writes to this
// process's standard error and keeps this process's signal mask and ignored signals. `output` is
// empty unless the program did not start.
Answer RunInSight(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace vellumo::support

#endif

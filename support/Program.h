// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_PROGRAM_H
#define VELLUMO_SUPPORT_PROGRAM_H

#include <chrono>
#include <string>
#include <vector>

namespace vellumo::support {

// What a call of a program came to.
struct Answer {
    int status;          // exit status; -1 when it did not start, or did not end by itself in time
    std::string output;  // what it wrote last, without line ends at its end; for -1 the reason
};

// Runs `program` (absolute path) with `arguments` and an empty standard input, and waits for it. It
// is killed when it has not ended within `limit`.
Answer Ask(const std::string& program, const std::vector<std::string>& arguments,
           std::chrono::seconds limit);

// The same without a limit, for work that a person watches: what it writes goes to this process's
// standard error, and it heeds the same signals. `output` is empty but for -1.
Answer RunInSight(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace vellumo::support

#endif

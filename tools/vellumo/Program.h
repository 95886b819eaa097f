// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_PROGRAM_H
#define VELLUMO_TOOLS_PROGRAM_H

#include <chrono>
#include <string>
#include <vector>

namespace vellumo::cli {

// What a call of a program came to.
struct Answer {
    int status;          // exit status; -1 when it could not be started or did not end in time
    std::string output;  // what it wrote, without line ends at its end; why it failed for -1
};

// Runs `program` (absolute path) with `arguments`, with nothing to read, and waits for it, no
// longer than `limit`; it is killed then.
Answer Ask(const std::string& program, const std::vector<std::string>& arguments,
           std::chrono::seconds limit);

// The same without a limit, for work that a person watches: what it writes goes to the standard
// error. `output` stays empty.
Answer RunInSight(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace vellumo::cli

#endif

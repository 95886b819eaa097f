// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_PROCESS_H
#define VELLUMO_TESTS_PROCESS_H

#include <string>
#include <vector>

namespace vellumo::test {

struct Finished {
    int status;          // exit status, or minus the signal that ended it
    std::string output;  // standard output
};

// Runs a program (found on the PATH) to its end; standard error is dropped.
Finished RunProgram(const std::vector<std::string>& command);

}  // namespace vellumo::test

#endif

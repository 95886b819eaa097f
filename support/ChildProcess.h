// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_CHILDPROCESS_H
#define VELLUMO_SUPPORT_CHILDPROCESS_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::support {

// The two ends of a pipe. No child process inherits them unless it is given them.
struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

// Creates a pipe. When that fails, both ends are empty and errno is set.
Pipe MakePipe();

// Returns `words` as an argument vector for execve: pointers into them, then a null pointer. Valid
// until `words` is changed or destroyed.
std::vector<char*> ArgumentVector(std::vector<std::string>& words);

// What a started program gets. Its standard input is always empty.
struct Surroundings {
    static constexpr int kNothing = -1;  // /dev/null

    int output = kNothing;      // file descriptor for its standard output
    int error = kNothing;       // file descriptor for its standard error
    bool keepsSignals = false;  // true: the caller's mask and ignored signals; false: the defaults
    int lent = kNothing;        // file descriptor that it holds until its end, as number 3; or none
};

// Starts `program`, an absolute path, with the argument vector `argv`. Only the three standard file
// descriptors, and the lent one, are open in it. Sets `child` and returns 0, or returns an errno
// value.
int Start(const char* program, char* const argv[], const Surroundings& surroundings, pid_t& child);

// Waits until `child` ends, without a time limit, and sets `status` as waitpid does. Returns false,
// with errno, when there is no such child.
bool WaitForEnd(pid_t child, int& status);

// Waits for at most `limit` and returns whether `child` ends by then. Nobody may have collected the
// child's exit status yet; this call does not collect it.
bool EndsWithin(pid_t child, std::chrono::milliseconds limit);

}  // namespace vellumo::support

#endif

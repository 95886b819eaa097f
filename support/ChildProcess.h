// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_CHILDPROCESS_H
#define VELLUMO_SUPPORT_CHILDPROCESS_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::support {

// The two ends of a pipe, which no child inherits by itself.
struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

// Both ends are none, with errno, when there is no pipe to be had.
Pipe MakePipe();

// `words` as execve takes an argument vector: pointers into them, then a null pointer. Valid as
// long as `words` is neither changed nor gone.
std::vector<char*> ArgumentVector(std::vector<std::string>& words);

// What a started program finds beside an empty standard input.
struct Surroundings {
    static constexpr int kNothing = -1;  // /dev/null

    int output = kNothing;      // descriptor of its standard output
    int error = kNothing;       // descriptor of its standard error
    bool keepsSignals = false;  // has the caller's mask and ignored signals; else the defaults
};

// Starts `program`, an absolute path, with the argument vector `argv`; no other descriptor than the
// standard three is open in it. Sets `child` and returns 0, or returns an error as in errno.
int Start(const char* program, char* const argv[], const Surroundings& surroundings, pid_t& child);

// Waits for the end of `child` and sets `status` as waitpid does. False, with errno, when there is
// no such child.
bool WaitForEnd(pid_t child, int& status);

// Whether `child`, not yet waited for, ends within `limit`.
bool EndsWithin(pid_t child, std::chrono::milliseconds limit);

}  // namespace vellumo::support

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_CHILDPROCESS_H
#define VELLUMO_ENGINE_CHILDPROCESS_H

#include <csignal>
#include <string>
#include <vector>

namespace vellumo::engine {

// How a child and everything that it started came to an end.
struct Ending {
    int status;           // exit status, or 128 plus the number of the signal that ended it
    std::string reports;  // what it wrote to kReportsDescriptor
};

// A descriptor that the child gets beside the standard three. Its standard input is empty, its
// standard output and error are the engine's, and nothing else is open.
constexpr int kReportsDescriptor = 3;

// From its construction on, a signal that would end this process ends the child instead, so that
// the process can put things in order. One object at most, made before anything that needs order.
class ChildProcess {
public:
    ChildProcess();

    // Runs `argv` (the program's absolute path first) until it and all its descendants have ended.
    // The child dies with this process, even of SIGKILL. Throws Failure when it cannot be started.
    Ending Run(const std::vector<std::string>& argv);

private:
    pid_t Start(const std::vector<std::string>& argv, int reports) const;
    [[noreturn]] void Become(std::vector<std::string> argv, int reports) const;
    int WaitForAll(pid_t child) const;

    sigset_t _awaited;
    sigset_t _original;
};

}  // namespace vellumo::engine

#endif

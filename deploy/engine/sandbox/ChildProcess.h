// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_CHILDPROCESS_H
#define VELLUMO_ENGINE_SANDBOX_CHILDPROCESS_H

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::engine {

// A program for a child process, and how to start and end it.
struct Program {
    std::vector<std::string> argv;              // the first is the program's absolute path
    std::vector<std::string> environment = {};  // NAME=VALUE; the child inherits no variables
    std::function<void()> prepare = [] {};      // called in the child before it executes argv
    int passed = -1;                            // becomes kPassedDescriptor; -1 for none
    int ending = SIGKILL;                       // the signal that ends the child
};

// The result of a child, when it and all its descendants have ended.
struct Ending {
    int status;           // exit status, or 128 plus the number of the signal that ended it
    std::string reports;  // what the child wrote to kReportsDescriptor
};

// The child's file descriptors beside the standard three. Its standard input is empty, its standard
// output and standard error are the engine's, and no other descriptor is open.
constexpr int kReportsDescriptor = 3;
constexpr int kPassedDescriptor = 4;

// From its construction on, a signal that would end this process ends the child instead, so that
// this process can clean up. A process may have one such object. Construct it before any object
// whose destructor has to clean up.
class ChildProcess {
public:
    ChildProcess();

    // Runs `program` and waits until it and all its descendants have ended. When this process ends,
    // even by SIGKILL, the child is killed. Throws Failure when the child cannot be started.
    Ending Run(const Program& program);

private:
    pid_t Start(const Program& program, support::Descriptor reports) const;
    [[noreturn]] void Become(Program program, int reports) const;
    int WaitForAll(pid_t child, const Program& program) const;
    int AwaitSignal() const;

    sigset_t _awaited;
    sigset_t _original;
};

}  // namespace vellumo::engine

#endif

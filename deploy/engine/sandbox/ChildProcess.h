// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_CHILDPROCESS_H
#define VELLUMO_ENGINE_SANDBOX_CHILDPROCESS_H

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::engine {

// What a child is to run.
struct Program {
    std::vector<std::string> argv;              // its absolute path first
    std::vector<std::string> environment = {};  // NAME=VALUE; nothing is inherited
    std::function<void()> prepare = [] {};      // called in the child before it becomes it
    int passed = -1;                            // the child's kPassedDescriptor, -1 for none
    int ending = SIGKILL;                       // what it gets when it is to end
    // Asked every tenth of a second, if given: false ends the child as its file size limit would.
    std::function<bool()> mayGoOn = nullptr;
};

// How a child and everything that it started came to an end.
struct Ending {
    int status;           // exit status, or 128 plus the number of the signal that ended it
    std::string reports;  // what it wrote to kReportsDescriptor
};

// Descriptors that the child gets beside the standard three. Its standard input is empty, its
// standard output and error are the engine's, and nothing else is open.
constexpr int kReportsDescriptor = 3;
constexpr int kPassedDescriptor = 4;

// From its construction on, a signal that would end this process ends the child instead, so that
// the process can put things in order. One object at most, made before anything that needs order.
class ChildProcess {
public:
    ChildProcess();

    // Runs `program` until it and all its descendants have ended. The child dies with this process,
    // even of SIGKILL. Throws Failure when it cannot be started.
    Ending Run(const Program& program);

private:
    pid_t Start(const Program& program, support::Descriptor reports) const;
    [[noreturn]] void Become(Program program, int reports) const;
    int WaitForAll(pid_t child, const Program& program) const;
    int AwaitEvent(const Program& program) const;

    sigset_t _awaited;
    sigset_t _original;
};

}  // namespace vellumo::engine

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_PROCESS_H
#define VELLUMO_TESTS_PROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "support/ChildProcess.h"

// Processes beside the test's own. What cannot be started at all ends the test by an exception.
namespace vellumo::test {

// Another process; killed at the end when it has not been waited for.
class ChildProcess {
public:
    // A fork of this one that runs `body` and exits with its result.
    explicit ChildProcess(const std::function<int()>& body);
    ~ChildProcess();
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ChildProcess& operator=(ChildProcess&&) = delete;

    pid_t Id() const { return _id; }

    void Signal(int signal) const;

    // Blocks until it has ended; its exit status, or minus the signal that ended it.
    int Wait();

private:
    pid_t _id;
};

// For the `body`: becomes a program (found on the PATH). Returns 127 when there is none.
int BecomeProgram(std::vector<std::string> command);

// Runs `body` with 0, 1, … in `count` processes, none of which begins before all are there. What
// Wait() tells of each.
std::vector<int> RunAtOnce(int count, const std::function<int(int)>& body);

// A pipe through which processes tell each other numbers.
class Channel {
public:
    Channel();

    void Send(int value) const;
    // Blocks until a number comes; -1 when nobody is left to send one.
    int Receive() const;

private:
    support::Pipe _pipe;
};

// A running program whose standard output is read here.
class RunningProgram {
public:
    enum class Errors { kShown, kDropped };
    explicit RunningProgram(const std::vector<std::string>& command,
                            Errors errors = Errors::kShown);

    pid_t Id() const { return _process.Id(); }

    // Blocks until the program has written a line; what there is without one at the end.
    std::string ReadLine();
    std::string ReadToEnd();

    void Signal(int signal) const { _process.Signal(signal); }
    int Wait() { return _process.Wait(); }

private:
    RunningProgram(const std::vector<std::string>& command, Errors errors, support::Pipe output);

    support::Descriptor _output;
    ChildProcess _process;
};

struct Finished {
    int status;          // as Wait() tells it
    std::string output;  // standard output
};

// Runs a program to its end; standard error is dropped.
Finished RunProgram(const std::vector<std::string>& command);

}  // namespace vellumo::test

#endif

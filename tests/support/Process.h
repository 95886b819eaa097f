// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_PROCESS_H
#define VELLUMO_TESTS_PROCESS_H

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/ChildProcess.h"

// Child processes of a test. An exception ends the test when a process cannot be started.
namespace vellumo::test {

// A child process. The destructor kills it unless Wait() was called.
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

    // Waits until the process has ended. Returns its exit status, or minus the number of the signal
    // that ended it.
    int Wait();

private:
    pid_t _id;
};

// Runs `body` in a process of another account, which has no rights and no groups, and returns its
// result. Returns nothing where the caller cannot become another user.
std::optional<int> AsOther(const std::function<int()>& body);

// A process of that account that repeats `attack` until the object is destroyed. Empty (false)
// where the caller cannot become another user.
class Attacker {
public:
    explicit Attacker(const std::function<void()>& attack);
    explicit operator bool() const { return _process.has_value(); }

private:
    std::optional<ChildProcess> _process;
};

// For the `body`: executes a program, which is found on the PATH. Returns 127 when that fails.
int BecomeProgram(std::vector<std::string> command);

// Memory of a process in MiB: what it has now ("VmRSS") or the most that it has had ("VmHWM"). 0
// when it has ended.
double MemoryOf(pid_t process, const std::string& kind);

// Runs `body` with 0, 1, … in `count` processes, none of which begins before all have started.
// Returns the result of Wait() for each.
std::vector<int> RunAtOnce(int count, const std::function<int(int)>& body);

// A pipe through which processes send each other numbers.
class Channel {
public:
    Channel();

    void Send(int value) const;
    // Waits for a number and returns it; -1 when no process is left that can send one.
    int Receive() const;

private:
    support::Pipe _pipe;
};

// A running program whose standard output the test reads.
class RunningProgram {
public:
    enum class Errors { kShown, kDropped };
    explicit RunningProgram(const std::vector<std::string>& command,
                            Errors errors = Errors::kShown);

    pid_t Id() const { return _process.Id(); }

    // Waits until the program has written a line and returns it. At the end of the output, returns
    // the rest.
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
    int status;          // as from Wait()
    std::string output;  // standard output
};

// Runs a program until it ends; its standard error is discarded.
Finished RunProgram(const std::vector<std::string>& command);

}  // namespace vellumo::test

#endif

// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "Failure.h"
#include "support/ChildProcess.h"

namespace vellumo::engine {
namespace {

using support::Descriptor;

std::string ReadToEnd(int input) {
    std::string text;
    std::array<char, 1024> buffer{};
    ssize_t length = 0;
    while ((length = read(input, buffer.data(), buffer.size())) > 0) {
        text.append(buffer.data(), static_cast<size_t>(length));
    }
    return text;
}

int StatusOf(int waitStatus) {
    return WIFSIGNALED(waitStatus) ? kKilled + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

// Duplicates the descriptor to a number above those that the child gets.
int MovedUp(int descriptor) {
    return fcntl(descriptor, F_DUPFD_CLOEXEC, kPassedDescriptor + 1);
}

// Closes all descriptors but the child's own: a directory of the host that a caller left open would
// be a way out of the sandbox.
void ArrangeDescriptors(int reports, int passed) {
    const int empty = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(empty, STDIN_FILENO);
    const int movedReports = MovedUp(reports);
    const int movedPassed = MovedUp(passed);
    dup2(movedReports, kReportsDescriptor);
    close(kPassedDescriptor);
    dup2(movedPassed, kPassedDescriptor);
    close_range(kPassedDescriptor + 1, ~0U, 0);
}

}  // namespace

ChildProcess::ChildProcess() {
    sigemptyset(&_awaited);
    for (const int signal : {SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        sigaddset(&_awaited, signal);
    }
    sigprocmask(SIG_BLOCK, &_awaited, &_original);
    static_cast<void>(
        std::signal(SIGCHLD, SIG_DFL));  // if ignored, the children's exit statuses would be lost
    // Descendants whose parent has ended become children of this process, which can wait for them.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

Ending ChildProcess::Run(const Program& program) {
    support::Pipe pipe = support::MakePipe();
    if (!pipe.reading) {
        const int error = errno;
        throw SystemFailure("cannot make a pipe", error);
    }
    const int status = WaitForAll(Start(program, std::move(pipe.writing)), program);
    return {status, ReadToEnd(pipe.reading.Get())};
}

pid_t ChildProcess::Start(const Program& program, Descriptor reports) const {
    const pid_t engine = getpid();
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() == engine) {
            Become(program, reports.Get());
        }
        _exit(kEngineFailed);
    }
    if (child < 0) {
        const int error = errno;
        throw SystemFailure("cannot start a process", error);
    }
    return child;
}

void ChildProcess::Become(Program program, int reports) const {
    const std::vector<char*> argv = support::ArgumentVector(program.argv);
    const std::vector<char*> environment = support::ArgumentVector(program.environment);
    program.prepare();  // after this call, memory allocations may fail
    ArrangeDescriptors(reports, program.passed);
    sigprocmask(SIG_SETMASK, &_original, nullptr);
    execve(argv[0], argv.data(), environment.data());
    _exit(kEngineFailed);
}

int ChildProcess::WaitForAll(pid_t child, const Program& program) const {
    int status = 0;
    int stoppedBy = 0;
    bool isRunning = true;
    while (true) {
        int waitStatus = 0;
        const pid_t ended = waitpid(-1, &waitStatus, WNOHANG);
        if (ended < 0) {
            return stoppedBy == 0 ? status : kKilled + stoppedBy;
        }
        if (ended == child) {
            status = StatusOf(waitStatus);
            isRunning = false;
        }
        if (ended > 0) {
            continue;
        }
        const int reason = AwaitSignal();
        if (isRunning && reason != 0) {
            stoppedBy = reason;
            kill(child, program.ending);
        }
    }
}

// Waits for a signal. Returns the one for which the child must end, or 0.
int ChildProcess::AwaitSignal() const {
    const int signal = sigwaitinfo(&_awaited, nullptr);
    return signal > 0 && signal != SIGCHLD ? signal : 0;
}

}  // namespace vellumo::engine

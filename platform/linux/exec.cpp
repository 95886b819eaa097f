// SPDX-License-Identifier: Apache-2.0
#include <navo/exec.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdarg>
#include <mutex>
#include <vector>

#include "fail.h"
#include "support/ChildProcess.h"

namespace NAVO::platform {
namespace {

enum class StandardError { Inherited, Discarded };

// A process that ignores SIGCHLD, or sets SA_NOCLDWAIT, cannot wait for an exit status. In such a
// process, and in no other, the signal is at its default while any object lives; the last object
// restores it. A child of the loader's own that ends meanwhile stays a zombie until the loader
// ends: the whole process has only one disposition of the signal.
class ChildStatusKept {
public:
    ChildStatusKept() {
        const std::lock_guard<std::mutex> guard(mutex);
        if (users++ == 0) {
            sigaction(SIGCHLD, nullptr, &before);
            changed = LosesStatus(before);
            if (changed) {
                struct sigaction standard {};
                standard.sa_handler = SIG_DFL;
                sigaction(SIGCHLD, &standard, nullptr);
            }
        }
    }
    ~ChildStatusKept() {
        const std::lock_guard<std::mutex> guard(mutex);
        if (--users == 0 && changed && IsDefaultNow()) {
            sigaction(SIGCHLD, &before, nullptr);
        }
    }
    ChildStatusKept(const ChildStatusKept&) = delete;
    ChildStatusKept& operator=(const ChildStatusKept&) = delete;

private:
    static bool LosesStatus(const struct sigaction& action) {
        return action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT) != 0;
    }
    // If it is not, another thread of the loader has set it meanwhile, and that setting stays.
    static bool IsDefaultNow() {
        struct sigaction present {};
        sigaction(SIGCHLD, nullptr, &present);
        return present.sa_handler == SIG_DFL;
    }

    static std::mutex mutex;
    static int users;
    static bool changed;
    static struct sigaction before;
};

std::mutex ChildStatusKept::mutex;
int ChildStatusKept::users = 0;
bool ChildStatusKept::changed = false;
struct sigaction ChildStatusKept::before {};

// Programs that nobody waits for. Each start of a program collects the exit statuses of those that
// have ended, so only those that have ended since the last start are zombies.
class Unwaited {
public:
    static void Add(pid_t child) {
        const std::lock_guard<std::mutex> guard(mutex);
        children.push_back(child);
    }
    static void CollectEnded() {
        const std::lock_guard<std::mutex> guard(mutex);
        // waitpid fails when other code in the process has collected the child.
        std::erase_if(children, [](pid_t child) { return waitpid(child, nullptr, WNOHANG) != 0; });
    }

private:
    static std::mutex mutex;
    static std::vector<pid_t> children;
};

std::mutex Unwaited::mutex;
std::vector<pid_t> Unwaited::children;

thread_local int lent = vellumo::support::Surroundings::kNothing;

int ExitStatusOf(pid_t child) {
    int status = 0;
    if (!vellumo::support::WaitForEnd(child, status)) {
        return Fail(NAVO_ERR_EXEC_FAILED);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : Fail(NAVO_ERR_EXEC_FAILED, EINTR);
}

int Start(const char* program, char* const argv[], StandardError standardError, pid_t& child) {
    if (program == nullptr || *program != '/' || argv == nullptr || argv[0] == nullptr) {
        return Fail(NAVO_ERR_EXEC_FAILED, EINVAL);
    }
    Unwaited::CollectEnded();
    vellumo::support::Surroundings surroundings;
    surroundings.lent = lent;
    if (standardError == StandardError::Inherited) {
        surroundings.error = STDERR_FILENO;
    }
    const int error = vellumo::support::Start(program, argv, surroundings, child);
    return error == 0 ? 0 : Fail(NAVO_ERR_EXEC_FAILED, error);
}

int Run(const char* program, char* const argv[], StandardError standardError) {
    const ChildStatusKept statusKept;
    pid_t child = -1;
    return Start(program, argv, standardError, child) == 0 ? ExitStatusOf(child) : -1;
}

int Launch(const char* program, char* const argv[], StandardError standardError) {
    pid_t child = -1;
    if (Start(program, argv, standardError, child) != 0) {
        return -1;
    }
    Unwaited::Add(child);
    return 0;
}

// The argument vector of `program`. posix_spawn takes non-const elements but does not change them.
class Arguments {
public:
    explicit Arguments(const char* program) { Add(program); }
    void Add(const char* argument) {
        _pointers.insert(_pointers.end() - 1, const_cast<char*>(argument));
    }
    char* const* Get() const { return _pointers.data(); }

private:
    std::vector<char*> _pointers{nullptr};
};

}  // namespace
}  // namespace NAVO::platform

int NLIBCExecv(const char* program, char* const argv[], int wait) {
    using NAVO::platform::StandardError;
    const NAVO::platform::SuccessKeepsErrno success;
    return wait != 0 ? NAVO::platform::Run(program, argv, StandardError::Inherited)
                     : NAVO::platform::Launch(program, argv, StandardError::Inherited);
}

void NLIBCExecLend(int descriptor) {
    NAVO::platform::lent = descriptor;
}

int NLIBCExecl(const char* program, int options, ...) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (options != NLIBC_EXEC_QUIETLY) {
        return NAVO::platform::Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    NAVO::platform::Arguments arguments(program);
    va_list list;
    va_start(list, options);
    while (const char* argument = va_arg(list, const char*)) {
        arguments.Add(argument);
    }
    va_end(list);
    return NAVO::platform::Run(program, arguments.Get(), NAVO::platform::StandardError::Discarded);
}

int NLIBCExec(const char* program, const char* argument1, const char* argument2,
              const char* argument3, const char* argument4) {
    const NAVO::platform::SuccessKeepsErrno success;
    NAVO::platform::Arguments arguments(program);
    for (const char* argument : std::array{argument1, argument2, argument3, argument4}) {
        if (argument == nullptr) {
            break;
        }
        arguments.Add(argument);
    }
    return NAVO::platform::Run(program, arguments.Get(), NAVO::platform::StandardError::Inherited);
}

// SPDX-License-Identifier: Apache-2.0
#include "support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace vellumo::support {
namespace {

// The attributes and file actions of one posix_spawn. Spawn returns the first error of all steps.
class SpawnPlan {
public:
    explicit SpawnPlan(const Surroundings& surroundings) {
        Note(posix_spawnattr_init(&_attributes));
        Note(posix_spawn_file_actions_init(&_actions));
        if (!surroundings.keepsSignals) {
            ResetSignals();
        }
        Arrange(STDOUT_FILENO, surroundings.output, O_WRONLY);
        Arrange(STDERR_FILENO, surroundings.error, O_WRONLY);
        // Last: in a process without standard input, an output may have its number.
        Arrange(STDIN_FILENO, Surroundings::kNothing, O_RDONLY);
        Note(posix_spawn_file_actions_addclosefrom_np(&_actions, Lend(surroundings.lent) + 1));
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&_actions);
        posix_spawnattr_destroy(&_attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    int Spawn(const char* program, char* const argv[], pid_t& child) const {
        return _error != 0 ? _error
                           : posix_spawn(&child, program, &_actions, &_attributes, argv, environ);
    }

private:
    void Note(int error) { _error = _error != 0 ? _error : error; }

    void ResetSignals() {
        sigset_t every;
        sigset_t none;
        sigfillset(&every);
        sigemptyset(&none);
        Note(
            posix_spawnattr_setflags(&_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
        Note(posix_spawnattr_setsigdefault(&_attributes, &every));
        Note(posix_spawnattr_setsigmask(&_attributes, &none));
    }

    // Returns the highest number of a descriptor that the program gets.
    int Lend(int descriptor) {
        if (descriptor == Surroundings::kNothing) {
            return STDERR_FILENO;
        }
        Note(posix_spawn_file_actions_adddup2(&_actions, descriptor, STDERR_FILENO + 1));
        return STDERR_FILENO + 1;
    }

    // A standard descriptor that is closed in this process stays closed in the program.
    void Arrange(int standard, int descriptor, int flags) {
        if (descriptor == Surroundings::kNothing) {
            Note(posix_spawn_file_actions_addopen(&_actions, standard, "/dev/null", flags, 0));
        } else if (fcntl(descriptor, F_GETFD) >= 0) {
            Note(posix_spawn_file_actions_adddup2(&_actions, descriptor, standard));
        }
    }

    posix_spawnattr_t _attributes{};
    posix_spawn_file_actions_t _actions{};
    int _error = 0;
};

}  // namespace

Pipe MakePipe() {
    std::array<int, 2> ends{-1, -1};
    static_cast<void>(pipe2(ends.data(), O_CLOEXEC));  // a failure leaves both ends at -1
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::vector<char*> ArgumentVector(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

int Start(const char* program, char* const argv[], const Surroundings& surroundings, pid_t& child) {
    return SpawnPlan(surroundings).Spawn(program, argv, child);
}

bool WaitForEnd(pid_t child, int& status) {
    return Uninterrupted([&] { return waitpid(child, &status, 0); }) == child;
}

bool EndsWithin(pid_t child, std::chrono::milliseconds limit) {
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    pollfd end{handle.Get(), POLLIN, 0};
    return poll(&end, 1, static_cast<int>(limit.count())) > 0;
}

}  // namespace vellumo::support

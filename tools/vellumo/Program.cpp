// SPDX-License-Identifier: Apache-2.0
#include "Program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "Descriptor.h"
#include "TemporaryFile.h"

namespace vellumo::cli {
namespace {

constexpr size_t kLargestOutput = 65536;

// The descriptors of a program to be started: nothing to read, and `output` for what it writes.
class SpawnActions {
public:
    explicit SpawnActions(int output) {
        posix_spawn_file_actions_init(&_actions);
        posix_spawn_file_actions_addopen(&_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&_actions, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&_actions, output, STDERR_FILENO);
    }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&_actions); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    const posix_spawn_file_actions_t* Get() const { return &_actions; }

private:
    posix_spawn_file_actions_t _actions{};
};

std::string Contents(std::FILE* file) {
    std::string text(kLargestOutput, '\0');
    const ssize_t length = pread(fileno(file), text.data(), text.size(), 0);
    text.resize(length > 0 ? static_cast<size_t>(length) : 0);
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

// False when the process has not ended within `limit`.
bool WaitForEnd(pid_t process, std::chrono::seconds limit) {
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd end{handle.Get(), POLLIN, 0};
    return poll(&end, 1, static_cast<int>(std::chrono::milliseconds(limit).count())) > 0;
}

// 0, with errno, when it cannot be started.
pid_t Start(const std::string& program, const std::vector<std::string>& arguments, int output) {
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const SpawnActions actions(output);
    pid_t process = 0;
    errno = posix_spawn(&process, program.c_str(), actions.Get(), nullptr, argv.data(), environ);
    return errno == 0 ? process : 0;
}

int Collect(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Answer NotStarted(const std::string& program) {
    return {-1, program + ": " + std::strerror(errno)};
}

}  // namespace

Answer Ask(const std::string& program, const std::vector<std::string>& arguments,
           std::chrono::seconds limit) {
    const TemporaryFile output(std::tmpfile());
    if (!output) {
        return {-1, std::string("no temporary file: ") + std::strerror(errno)};
    }
    const pid_t process = Start(program, arguments, fileno(output.get()));
    if (process == 0) {
        return NotStarted(program);
    }
    const bool ended = WaitForEnd(process, limit);
    if (!ended) {
        kill(process, SIGKILL);
    }
    const int status = Collect(process);
    if (!ended) {
        return {-1, "no answer within " + std::to_string(limit.count()) + " seconds"};
    }
    return {status, Contents(output.get())};
}

Answer RunInSight(const std::string& program, const std::vector<std::string>& arguments) {
    std::cout.flush();
    const pid_t process = Start(program, arguments, STDERR_FILENO);
    return process == 0 ? NotStarted(program) : Answer{Collect(process), ""};
}

}  // namespace vellumo::cli

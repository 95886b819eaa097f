// SPDX-License-Identifier: Apache-2.0
#include "Process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace vellumo::test {
namespace {

[[noreturn]] void BecomeProgram(std::vector<std::string> command, int output) {
    std::vector<char*> argv;
    for (std::string& element : command) {
        argv.push_back(element.data());
    }
    argv.push_back(nullptr);
    dup2(output, STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    execvp(argv[0], argv.data());
    _exit(127);
}

std::string ReadToEnd(int input) {
    std::string text;
    std::array<char, 4096> buffer{};
    while (true) {
        const ssize_t length = read(input, buffer.data(), buffer.size());
        if (length <= 0) {
            return text;
        }
        text.append(buffer.data(), static_cast<size_t>(length));
    }
}

}  // namespace

Finished RunProgram(const std::vector<std::string>& command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return {127, ""};
    }
    const pid_t child = fork();
    if (child == 0) {
        BecomeProgram(command, ends[1]);
    }
    close(ends[1]);
    Finished finished{0, ReadToEnd(ends[0])};
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    finished.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return finished;
}

}  // namespace vellumo::test

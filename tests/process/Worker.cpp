// SPDX-License-Identifier: Apache-2.0
#include "Worker.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <utility>

namespace vellumo::test {

Worker::Worker(const std::vector<std::string>& arguments)
    : Worker(VELLUMO_POOL_WORKER, arguments) {}

Worker::Worker(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<std::string> command{program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& element : command) {
        argv.push_back(element.data());
    }
    argv.push_back(nullptr);

    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe for a worker");
    }
    _process = fork();
    if (_process == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(ends[1]);
    _output = ends[0];
}

Worker::Worker(Worker&& other) noexcept
    : _process(std::exchange(other._process, -1)), _output(std::exchange(other._output, -1)) {}

Worker::~Worker() {
    if (_process > 0) {
        Kill(SIGKILL);
        Wait();
    }
    if (_output >= 0) {
        close(_output);
    }
}

std::string Worker::ReadLine() {
    std::string line;
    char next = 0;
    while (read(_output, &next, 1) == 1 && next != '\n') {
        line += next;
    }
    return line;
}

int Worker::Wait() {
    int status = 0;
    waitpid(std::exchange(_process, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void Worker::Kill(int signal) {
    kill(_process, signal);
}

}  // namespace vellumo::test

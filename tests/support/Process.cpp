// SPDX-License-Identifier: Apache-2.0
#include "Process.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <system_error>
#include <utility>

namespace vellumo::test {
namespace {

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::system_category(), what);
}

support::Pipe MakePipe() {
    support::Pipe pipe = support::MakePipe();
    if (!pipe.reading) {
        Fail("no pipe");
    }
    return pipe;
}

pid_t Fork() {
    const pid_t child = fork();
    if (child < 0) {
        Fail("no process");
    }
    return child;
}

}  // namespace

namespace {

constexpr uid_t kOther = 65534;

bool BecomeOther() {
    return setgroups(0, nullptr) == 0 && setresgid(kOther, kOther, kOther) == 0 &&
           setresuid(kOther, kOther, kOther) == 0;
}

bool CanBecomeOther() {
    return ChildProcess([] { return BecomeOther() ? 0 : 1; }).Wait() == 0;
}

}  // namespace

std::optional<int> AsOther(const std::function<int()>& body) {
    if (!CanBecomeOther()) {
        return std::nullopt;
    }
    return ChildProcess([&] { return BecomeOther() ? body() : 255; }).Wait();
}

Attacker::Attacker(const std::function<void()>& attack) {
    if (!CanBecomeOther()) {
        return;
    }
    _process.emplace([&] {
        if (!BecomeOther()) {
            return 255;
        }
        while (true) {
            attack();
        }
    });
}

ChildProcess::ChildProcess(const std::function<int()>& body) : _id(Fork()) {
    if (_id == 0) {
        _exit(body());
    }
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : _id(std::exchange(other._id, -1)) {}

ChildProcess::~ChildProcess() {
    if (_id > 0) {
        Signal(SIGKILL);
        Wait();
    }
}

void ChildProcess::Signal(int signal) const {
    if (kill(_id, signal) != 0) {
        Fail("no signal to a process");
    }
}

int ChildProcess::Wait() {
    int status = 0;
    if (!support::WaitForEnd(std::exchange(_id, -1), status)) {
        Fail("no process to wait for");
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int BecomeProgram(std::vector<std::string> command) {
    const std::vector<char*> argv = support::ArgumentVector(command);
    execvp(argv[0], argv.data());
    return 127;
}

double MemoryOf(pid_t process, const std::string& kind) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        if (word == kind + ':') {
            double kibibytes = 0;
            status >> kibibytes;
            return kibibytes / 1024;
        }
    }
    return 0;
}

std::vector<int> RunAtOnce(int count, const std::function<int(int)>& body) {
    const Channel ready;
    const Channel start;
    std::vector<ChildProcess> processes;
    for (int i = 0; i < count; ++i) {
        processes.emplace_back([&] {
            ready.Send(i);
            start.Receive();
            return body(i);
        });
    }
    for (int i = 0; i < count; ++i) {
        ready.Receive();
    }
    for (int i = 0; i < count; ++i) {
        start.Send(i);
    }
    std::vector<int> ends;
    for (ChildProcess& process : processes) {
        ends.push_back(process.Wait());
    }
    return ends;
}

Channel::Channel() : _pipe(MakePipe()) {}

void Channel::Send(int value) const {
    if (write(_pipe.writing.Get(), &value, sizeof value) != sizeof value) {
        Fail("cannot tell a process");
    }
}

int Channel::Receive() const {
    int value = -1;
    return read(_pipe.reading.Get(), &value, sizeof value) == sizeof value ? value : -1;
}

RunningProgram::RunningProgram(const std::vector<std::string>& command, Errors errors)
    : RunningProgram(command, errors, MakePipe()) {}

RunningProgram::RunningProgram(const std::vector<std::string>& command, Errors errors,
                               support::Pipe output)
    : _output(std::move(output.reading)), _process([&] {
          dup2(output.writing.Get(), STDOUT_FILENO);
          if (errors == Errors::kDropped) {
              dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
          }
          return BecomeProgram(command);
      }) {}

std::string RunningProgram::ReadLine() {
    std::string line;
    char next = 0;
    while (read(_output.Get(), &next, 1) == 1 && next != '\n') {
        line += next;
    }
    return line;
}

std::string RunningProgram::ReadToEnd() {
    std::string text;
    std::array<char, 4096> buffer{};
    ssize_t length = 0;
    while ((length = read(_output.Get(), buffer.data(), buffer.size())) > 0) {
        text.append(buffer.data(), static_cast<size_t>(length));
    }
    return text;
}

Finished RunProgram(const std::vector<std::string>& command) {
    RunningProgram program(command, RunningProgram::Errors::kDropped);
    std::string output = program.ReadToEnd();
    return {program.Wait(), output};
}

}  // namespace vellumo::test

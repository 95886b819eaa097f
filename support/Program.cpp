// SPDX-License-Identifier: Apache-2.0
#include "support/Program.h"

#include <sys/wait.h>

#include <csignal>
#include <cstring>

#include "support/ChildProcess.h"
#include "support/TemporaryFile.h"

namespace vellumo::support {
namespace {

constexpr size_t kLargestOutput = 65536;

int StartProgram(const std::string& program, const std::vector<std::string>& arguments,
                 const Surroundings& surroundings, pid_t& process) {
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return Start(program.c_str(), ArgumentVector(words).data(), surroundings, process);
}

Answer NotStarted(const std::string& program, int error) {
    return {-1, program + ": " + std::strerror(error)};
}

int ExitStatusOf(pid_t process) {
    int status = 0;
    return WaitForEnd(process, status) && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string WithoutLineEnds(std::string text) {
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

}  // namespace

Answer Ask(const std::string& program, const std::vector<std::string>& arguments,
           std::chrono::seconds limit) {
    const Descriptor output = OpenNamelessFile();
    if (!output) {
        return {-1, std::string("no temporary file: ") + std::strerror(errno)};
    }
    pid_t process = 0;
    if (const int error =
            StartProgram(program, arguments, {output.Get(), output.Get(), false}, process)) {
        return NotStarted(program, error);
    }
    const bool ended = EndsWithin(process, limit);
    if (!ended) {
        kill(process, SIGKILL);
    }
    const int status = ExitStatusOf(process);
    if (!ended) {
        return {-1, "no answer within " + std::to_string(limit.count()) + " seconds"};
    }
    return {status, WithoutLineEnds(ReadTail(output, kLargestOutput))};
}

Answer RunInSight(const std::string& program, const std::vector<std::string>& arguments) {
    pid_t process = 0;
    if (const int error =
            StartProgram(program, arguments, {STDERR_FILENO, STDERR_FILENO, true}, process)) {
        return NotStarted(program, error);
    }
    return {ExitStatusOf(process), ""};
}

}  // namespace vellumo::support

// SPDX-License-Identifier: Apache-2.0
#include "pool/EmbeddedEngine.h"

#include <unistd.h>

#include <charconv>
#include <fstream>
#include <map>
#include <sstream>

#include "app/Messages.h"

namespace vellumo::cli {
namespace {

using loader::AskEngine;
using std::chrono::seconds;
using support::Answer;

constexpr seconds kShort(10);
constexpr seconds kStart(60);

// The process that keeps an office warm for `name`; null if none does. The engine answers
// "NAME warm PROCESS".
std::optional<pid_t> KeeperOfOffice(const std::string& name) {
    const Answer answer = AskEngine({"status", name}, kShort);
    if (answer.status != 0) {
        return std::nullopt;
    }
    const std::string number = answer.output.substr(answer.output.rfind(' ') + 1);
    const char* const end = number.data() + number.size();
    pid_t process = 0;
    const auto [rest, error] = std::from_chars(number.data(), end, process);
    return error == std::errc() && rest == end ? std::optional(process) : std::nullopt;
}

void EndOffice(const std::string& name) {
    const Answer answer = AskEngine({"stop", name}, kStart);
    if (answer.status != 0) {
        throw Failure({ExitCode::kPool,
                       "cannot end the office of " + name,
                       answer.output,
                       "Run the command again when '" + std::string(loader::kEngineClient) +
                           " stop " + name + "' succeeds.",
                       {}});
    }
}

// The ids of all processes, by the ids of their parents.
std::multimap<pid_t, pid_t> ProcessTree() {
    std::multimap<pid_t, pid_t> children;
    for (const pid_t process : loader::Processes()) {
        std::ifstream file("/proc/" + std::to_string(process) + "/stat");
        std::string line;
        std::getline(file, line);
        // The program's name, in parentheses, may itself contain blanks and parentheses.
        std::istringstream rest(line.substr(line.rfind(')') + 1));
        char state = 0;
        pid_t parent = 0;
        if (rest >> state >> parent) {
            children.emplace(parent, process);
        }
    }
    return children;
}

size_t ResidentBytes(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/statm");
    size_t total = 0;
    size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

size_t ResidentBytesBelow(pid_t process, const std::multimap<pid_t, pid_t>& children) {
    size_t bytes = ResidentBytes(process);
    const auto [begin, end] = children.equal_range(process);
    for (auto child = begin; child != end; ++child) {
        bytes += ResidentBytesBelow(child->second, children);
    }
    return bytes;
}

std::string Mebibytes(size_t bytes) {
    return std::to_string(bytes >> 20U) + " MiB";
}

// The memory of the sandboxes of `name`: the processes below each command's engine client, and
// below the keeper of the warm office.
std::string MemoryOfSandboxes(const std::vector<loader::RunningCommand>& running,
                              const std::string& name, std::optional<pid_t> keeper) {
    const std::multimap<pid_t, pid_t> children = ProcessTree();
    size_t bytes = keeper ? ResidentBytesBelow(*keeper, children) : 0;
    for (const loader::RunningCommand& command : running) {
        bytes += command.container == name ? ResidentBytesBelow(command.client, children) : 0;
    }
    return Mebibytes(bytes);
}

}  // namespace

void EmbeddedEngine::Provide(const std::string& name, const PoolWishes& wishes,
                             Steps& steps) const {
    if (KeeperOfOffice(name)) {
        if (!wishes.rebuild) {
            steps.Tell(name + ": its office is warm already");
            return;
        }
        EndOffice(name);  // commands that run in it go on with an office of their own
    }
    const Answer answer = AskEngine({"start", name}, kStart);
    steps.Tell(answer.status == 0
                   ? name + ": its office is warm"
                   : name + ": each document gets an office of its own: " + answer.output);
}

void EmbeddedEngine::End(const std::string& name, Steps& /*steps*/) const {
    EndOffice(name);
}

std::vector<std::string> EmbeddedEngine::Running() const {
    return FirstWords(AskEngine({"status"}, kShort));
}

std::string EmbeddedEngine::WhyCold(const std::string& name) const {
    if (KeeperOfOffice(name)) {
        return "";
    }
    const Answer answer = AskEngine({"exec", name, kOfficeProgram, "check"}, kStart);
    return answer.status == kCannotKeepOffice ? answer.output
                                              : "none is kept; 'vellumo pool up' starts one";
}

Condition EmbeddedEngine::ConditionOf(const std::string& name,
                                      const std::vector<loader::RunningCommand>& running) const {
    const std::optional<pid_t> keeper = KeeperOfOffice(name);
    return {true, keeper ? "warm" : "cold", MemoryOfSandboxes(running, name, keeper),
            keeper.has_value()};
}

}  // namespace vellumo::cli

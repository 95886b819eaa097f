// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/ToolProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <csignal>
#include <fstream>
#include <string>

#include "loader/pool/EngineClient.h"

namespace vellumo::loader {
namespace {

constexpr auto kPatience = std::chrono::seconds(5);
constexpr auto kPatienceInContainer = std::chrono::seconds(8);

std::string ProcFile(pid_t process, const std::string& name) {
    return "/proc/" + std::to_string(process) + "/" + name;
}

std::string Executable(const std::string& link) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = readlink(link.c_str(), target.data(), target.size());
    return {target.data(), length > 0 ? static_cast<size_t>(length) : 0};
}

std::string ProgramName(pid_t process) {
    std::ifstream file(ProcFile(process, "cmdline"));
    std::string program;
    std::getline(file, program, '\0');
    return program.substr(program.rfind('/') + 1);
}

// The library's own helpers. Any other program that it starts is the docker client, which keeps its
// process id when it replaces itself by another program.
bool IsFileHelper(const std::string& program) {
    return program == "ln" || program == "cp" || program == "rm";
}

Activity ActivityOfChild(pid_t child) {
    // Between fork and exec, a child still is this program; a zombie has no executable any more.
    const std::string executable = Executable(ProcFile(child, "exe"));
    if (executable.empty() || executable == Executable("/proc/self/exe")) {
        return Activity::kNone;
    }
    // During exec, the command line is still empty.
    const std::string program = ProgramName(child);
    if (program.empty()) {
        return Activity::kNone;
    }
    return IsFileHelper(program) ? Activity::kFiles : Activity::kTool;
}

}  // namespace

WorkerActivity ActivityOf(pid_t worker) {
    WorkerActivity found;
    std::ifstream children(ProcFile(worker, "task/" + std::to_string(worker) + "/children"));
    for (pid_t child = 0; children >> child;) {
        const Activity activity = ActivityOfChild(child);
        if (activity == Activity::kTool) {
            return {activity, child};
        }
        if (activity == Activity::kFiles) {
            found.activity = activity;
        }
    }
    return found;
}

ToolStopper::~ToolStopper() {
    if (_ender != 0) {
        kill(_ender, SIGKILL);
        waitpid(_ender, nullptr, 0);
    }
}

void ToolStopper::Begin(pid_t tool) {
    _stopping = tool;
    _since = std::chrono::steady_clock::now();
    _ender = EndCommandOf(tool);
    if (_ender == 0) {
        kill(tool, SIGTERM);
    }
}

// True once, when the process that should have ended the tool in its container has failed: the
// container may be of another image, or the engine may not answer.
bool ToolStopper::CouldNotEnd() {
    int status = 0;
    if (_ender == 0 || waitpid(_ender, &status, WNOHANG) == 0) {
        return false;
    }
    _ender = 0;
    return status != 0;
}

bool ToolStopper::StopTool() {
    const pid_t tool = ActivityOf(_worker).tool;
    if (tool == 0) {
        return false;
    }
    if (tool != _stopping) {
        Begin(tool);
    } else if (CouldNotEnd()) {
        kill(tool, SIGTERM);
    } else if (std::chrono::steady_clock::now() - _since >
               (_ender == 0 ? kPatience : kPatienceInContainer)) {
        kill(tool, SIGKILL);
    }
    return true;
}

}  // namespace vellumo::loader

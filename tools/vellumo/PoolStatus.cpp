// SPDX-License-Identifier: Apache-2.0
#include "PoolStatus.h"

#include <unistd.h>

#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>

#include "EngineClient.h"
#include "Messages.h"
#include "PoolState.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr auto kAnswerLimit = std::chrono::seconds(10);
constexpr auto kStatisticsLimit = std::chrono::seconds(20);

struct ContainerStatus {
    Container container;
    bool answers = false;
    bool sound = false;                // answers, and is not unhealthy
    std::string health;                // "answers" and what else is known, or why it does not
    std::string memory;                // for people; "" when it is not known
    std::optional<bool> warm;          // whether an office is kept, where that can be asked
    std::vector<std::string> running;  // commands
};

// The ids of the processes by their parents.
std::multimap<pid_t, pid_t> ProcessTree() {
    std::multimap<pid_t, pid_t> children;
    for (const pid_t process : Processes()) {
        std::ifstream file("/proc/" + std::to_string(process) + "/stat");
        std::string line;
        std::getline(file, line);
        // The program's name, in brackets, may hold blanks and brackets itself.
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

// Sandboxes are the processes below the engine's client of each command, and below the keeper of a
// warm office.
std::string MemoryOfSandboxes(const std::vector<RunningCommand>& running, const std::string& name,
                              std::optional<pid_t> keeper) {
    const std::multimap<pid_t, pid_t> children = ProcessTree();
    size_t bytes = keeper ? ResidentBytesBelow(*keeper, children) : 0;
    for (const RunningCommand& command : running) {
        bytes += command.container == name ? ResidentBytesBelow(command.client, children) : 0;
    }
    return Mebibytes(bytes);
}

std::string MemoryOfContainer(const std::string& name) {
    const Answer answer =
        AskEngine({"stats", "--no-stream", "--format", "{{.MemUsage}}", name}, kStatisticsLimit);
    return answer.status == 0 ? answer.output : "";
}

void LookAtContainer(ContainerStatus& status) {
    const std::string health = HealthOf(status.container.name);
    status.sound = health != kUnhealthy;
    status.health += health.empty() ? "" : ", " + health;
    status.memory = MemoryOfContainer(status.container.name);
}

void LookAtSandboxes(ContainerStatus& status, const std::vector<RunningCommand>& running) {
    const std::optional<pid_t> keeper = KeeperOfOffice(status.container.name);
    status.warm = keeper.has_value();
    status.health += keeper ? ", warm" : ", cold";
    status.memory = MemoryOfSandboxes(running, status.container.name, keeper);
}

ContainerStatus StatusOf(const Container& container, Engine engine,
                         const std::vector<RunningCommand>& running) {
    const Answer answer = AskEngine({"exec", container.name, "true"}, kAnswerLimit);
    ContainerStatus status;
    status.container = container;
    status.answers = answer.status == 0;
    status.sound = status.answers;
    status.health = status.answers ? "answers" : "does not answer: " + answer.output;
    if (status.answers && engine == Engine::kEmbedded) {
        LookAtSandboxes(status, running);
    } else if (status.answers) {
        LookAtContainer(status);
    }
    for (const RunningCommand& command : running) {
        if (command.container == container.name) {
            status.running.push_back(command.command);
        }
    }
    return status;
}

Json::Value ToJson(const ContainerStatus& status) {
    Json::Value value(Json::objectValue);
    value["name"] = status.container.name;
    value["using"] = status.container.inUse;
    value["used"] = status.container.used;
    value["answers"] = status.answers;
    value["health"] = status.health;
    value["memory"] = status.memory.empty() ? Json::Value() : Json::Value(status.memory);
    value["warm"] = status.warm ? Json::Value(*status.warm) : Json::Value();
    value["running"] = JsonArray(status.running);
    return value;
}

void Print(const ContainerStatus& status) {
    std::cout << std::left << std::setw(16) << Printable(status.container.name) << std::right
              << std::setw(6) << status.container.inUse << std::setw(8) << status.container.used
              << "  " << std::left << std::setw(22) << (status.memory.empty() ? "-" : status.memory)
              << Printable(status.health) << '\n';
    for (const std::string& command : status.running) {
        std::cout << "    runs " << Printable(command) << '\n';
    }
}

}  // namespace

CommandResult ShowPoolStatus(bool json) {
    const std::string what = "cannot show the pool's status";
    const PoolState pool = ReadPool(what, core::LOCK_TIMEOUT_SECS);
    const EngineFacts engine = LookAtEngine();
    const std::vector<RunningCommand> running = RunningCommands();
    CommandResult result{ExitCode::kDone};
    result.json["engine"] = engine.version;
    result.json["containers"] = Json::Value(Json::arrayValue);
    result.json["waiting"] = Json::UInt64{pool.Waiting()};
    if (!json) {
        std::cout << "Engine: " << Printable(engine.version) << '\n'
                  << "CONTAINER        USING    USED  MEMORY                HEALTH\n";
    }
    size_t silent = 0;
    size_t unhealthy = 0;
    for (const Container& container : pool.containers) {
        const ContainerStatus status = StatusOf(container, engine.engine, running);
        silent += status.answers ? 0U : 1U;
        unhealthy += status.answers && !status.sound ? 1U : 0U;
        result.json["containers"].append(ToJson(status));
        if (!json) {
            Print(status);
        }
    }
    if (!json) {
        std::cout << Count(pool.Waiting(), "job") << " waiting\n";
    }
    if (silent + unhealthy != 0) {
        const Problem problem{ExitCode::kPool,
                              "the pool is not whole",
                              silent != 0 ? Count(silent, "container") + " without an answer"
                                          : Count(unhealthy, "container") + " unhealthy",
                              "'vellumo pool doctor' tells what to do.",
                              {}};
        result.code = problem.code;
        result.json["error"] = cli::ToJson(problem);
        if (!json) {
            std::cout.flush();
            cli::Print(std::cerr, problem);
        }
    }
    return result;
}

}  // namespace vellumo::cli

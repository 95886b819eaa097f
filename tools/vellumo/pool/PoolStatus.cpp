// SPDX-License-Identifier: Apache-2.0
#include "pool/PoolStatus.h"

#include <chrono>
#include <iomanip>
#include <iostream>

#include "app/Messages.h"
#include "loader/Text.h"
#include "loader/pool/PoolState.h"
#include "pool/Engine.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr auto kAnswerLimit = std::chrono::seconds(10);

struct ContainerStatus {
    loader::Container container;
    bool answers = false;
    std::string health;                // "answers" and its condition, or why it does not answer
    Condition condition;               // only if it answers
    std::vector<std::string> running;  // the commands that run in it
};

ContainerStatus StatusOf(const loader::Container& container, const Engine* engine,
                         const std::vector<loader::RunningCommand>& running) {
    const support::Answer answer =
        loader::AskEngine({"exec", container.name, "true"}, kAnswerLimit);
    ContainerStatus status;
    status.container = container;
    status.answers = answer.status == 0;
    status.health = status.answers ? "answers" : "does not answer: " + answer.output;
    if (status.answers && engine != nullptr) {
        status.condition = engine->ConditionOf(container.name, running);
        status.health += status.condition.health.empty() ? "" : ", " + status.condition.health;
    }
    for (const loader::RunningCommand& command : running) {
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
    const Condition& condition = status.condition;
    value["memory"] = condition.memory.empty() ? Json::Value() : Json::Value(condition.memory);
    value["warm"] = condition.warm ? Json::Value(*condition.warm) : Json::Value();
    value["running"] = JsonArray(status.running);
    return value;
}

void Print(const ContainerStatus& status) {
    std::cout << std::left << std::setw(16) << Printable(status.container.name) << std::right
              << std::setw(6) << status.container.inUse << std::setw(8) << status.container.used
              << "  " << std::left << std::setw(22)
              << (status.condition.memory.empty() ? "-" : status.condition.memory)
              << Printable(status.health) << '\n';
    for (const std::string& command : status.running) {
        std::cout << "    runs " << Printable(command) << '\n';
    }
}

struct Trouble {
    size_t silent = 0;
    size_t unhealthy = 0;

    void Count(const ContainerStatus& status) {
        silent += status.answers ? 0U : 1U;
        unhealthy += status.answers && !status.condition.sound ? 1U : 0U;
    }
};

Problem Explain(const Trouble& trouble) {
    return {ExitCode::kPool,
            "the pool is not whole",
            trouble.silent != 0 ? loader::Count(trouble.silent, "container") + " without an answer"
                                : loader::Count(trouble.unhealthy, "container") + " unhealthy",
            "'vellumo pool doctor' tells what to do.",
            {}};
}

}  // namespace

CommandResult ShowPoolStatus(bool json) {
    const loader::PoolState pool =
        loader::ReadPool("cannot show the pool's status", core::LOCK_TIMEOUT_SECS);
    const FoundEngine found = FindEngine();
    const std::vector<loader::RunningCommand> running = loader::RunningCommands();
    CommandResult result{ExitCode::kDone};
    result.json["engine"] = found.version;
    result.json["containers"] = Json::Value(Json::arrayValue);
    result.json["waiting"] = Json::UInt64{pool.Waiting()};
    if (!json) {
        std::cout << "Engine: " << Printable(found.version) << '\n'
                  << "CONTAINER        USING    USED  MEMORY                HEALTH\n";
    }
    Trouble trouble;
    for (const loader::Container& container : pool.containers) {
        const ContainerStatus status = StatusOf(container, found.engine.get(), running);
        trouble.Count(status);
        result.json["containers"].append(ToJson(status));
        if (!json) {
            Print(status);
        }
    }
    if (!json) {
        std::cout << loader::Count(pool.Waiting(), "job") << " waiting\n";
    }
    if (trouble.silent + trouble.unhealthy != 0) {
        const Problem problem = Explain(trouble);
        result.FailWith(problem);
        if (!json) {
            std::cout.flush();
            cli::Print(std::cerr, problem);
        }
    }
    return result;
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_ENGINE_H
#define VELLUMO_TOOLS_ENGINE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "loader/pool/EngineClient.h"
#include "pool/PoolWishes.h"
#include "pool/Steps.h"

namespace vellumo::cli {

// The condition of a container that answers.
struct Condition {
    bool sound = true;         // false if its health check fails
    std::string health;        // a word such as "healthy" or "warm"; "" when nothing is known
    std::string memory;        // the memory that it uses, for people; "" when unknown
    std::optional<bool> warm;  // whether an office is kept warm for it; null: not applicable
};

// The program in every container that keeps an office in memory, and its exit status where it
// cannot.
constexpr const char* kOfficeProgram = "/opt/vellumo/office/vellumo-office";
constexpr int kCannotKeepOffice = 78;

// The container engine behind /usr/local/bin/docker, for the steps of the pool's set-up that differ
// between engines. Operations run the engine's client and wait for it. Prepare, Provide and End
// throw Failure when they fail.
class Engine {
public:
    virtual ~Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    // Its name for --engine.
    virtual const char* Name() const = 0;

    // Builds what all containers are made from, if it is missing or `wishes` asks for it.
    virtual void Prepare(const PoolWishes& wishes, Steps& steps) const = 0;

    // Makes sure that the container `name` runs or, with the embedded engine, has a warm office
    // where that is possible.
    virtual void Provide(const std::string& name, const PoolWishes& wishes, Steps& steps) const = 0;

    // Ends what Provide started for `name`; leaves alone what somebody else created.
    virtual void End(const std::string& name, Steps& steps) const = 0;

    // The names of what Provide has started for any pool and what runs now.
    virtual std::vector<std::string> Running() const = 0;

    // Whether the registered container `name` may leave the pool when it is not wanted any more:
    // Provide created it, or it does not exist.
    virtual bool IsDispensable(const std::string& name) const = 0;

    // Whether a command of the library runs in `name`, even if its client has died.
    virtual bool RunsCommand(const std::string& name) const = 0;

    // The result of the health check of `name`: "healthy", kUnhealthy or "starting"; "" without
    // one.
    static constexpr const char* kUnhealthy = "unhealthy";
    virtual std::string HealthOf(const std::string& name) const = 0;

    // Why each document gets an office of its own in `name`; "" if an office is kept in memory for
    // all, and when nothing is known.
    virtual std::string WhyCold(const std::string& name) const = 0;

    // The condition of `name`, which must answer. `running`: all running commands.
    virtual Condition ConditionOf(const std::string& name,
                                  const std::vector<loader::RunningCommand>& running) const = 0;

protected:
    Engine() = default;
};

// The first word of each line of an answer; none if the engine has failed.
std::vector<std::string> FirstWords(const support::Answer& answer);

// The engine that answers at /usr/local/bin/docker.
struct FoundEngine {
    std::unique_ptr<Engine> engine;  // null when none answers
    std::string version;             // the output of --version, or the error
};
FoundEngine FindEngine();

// The engine. Throws Failure, with `what` as its Problem::what, when none answers.
std::unique_ptr<Engine> RequireEngine(const std::string& what);

}  // namespace vellumo::cli

#endif

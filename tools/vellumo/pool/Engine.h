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

// How a container is that answers.
struct Condition {
    bool sound = true;         // its health check, if it has one, does not fail
    std::string health;        // what is known beside that it answers; "" for nothing
    std::string memory;        // that it takes, for people; "" when it is not known
    std::optional<bool> warm;  // whether an office is kept for it, where that can be asked
};

// The container engine behind /usr/local/bin/docker, as far as the pool's set-up differs between
// engines. Each operation calls the engine's client and waits for it; one that comes to nothing
// throws Failure.
class Engine {
public:
    virtual ~Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    // As --engine names it.
    virtual const char* Name() const = 0;

    // Makes sure of what all containers are made from.
    virtual void Prepare(const PoolWishes& wishes, Steps& steps) const = 0;

    // Makes sure that the container `name` takes commands, as well prepared as this engine can.
    virtual void Provide(const std::string& name, const PoolWishes& wishes, Steps& steps) const = 0;

    // Ends what Provide made for `name`, and nothing that it did not make.
    virtual void End(const std::string& name, Steps& steps) const = 0;

    // Whether the pool may do without the registered container `name`, which is not asked for any
    // more: Provide made it, or it does not exist.
    virtual bool IsDispensable(const std::string& name) const = 0;

    // Whether a command of the library runs in `name`, also one whose client has died.
    virtual bool RunsCommand(const std::string& name) const = 0;

    // What the health check of `name` says: "healthy", kUnhealthy or "starting"; "" without one.
    static constexpr const char* kUnhealthy = "unhealthy";
    virtual std::string HealthOf(const std::string& name) const = 0;

    // How `name` is, which answers. `running`: the commands with a client.
    virtual Condition ConditionOf(const std::string& name,
                                  const std::vector<loader::RunningCommand>& running) const = 0;

protected:
    Engine() = default;
};

// What answers as the engine's client.
struct FoundEngine {
    std::unique_ptr<Engine> engine;  // null when nothing does
    std::string version;             // what it says of itself, or why it says nothing
};
FoundEngine FindEngine();

// The engine; throws Failure, `what` being what failed then, when none answers.
std::unique_ptr<Engine> RequireEngine(const std::string& what);

}  // namespace vellumo::cli

#endif

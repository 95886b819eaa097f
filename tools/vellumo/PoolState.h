// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLSTATE_H
#define VELLUMO_TOOLS_POOLSTATE_H

#include <json/value.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "vellumo/ConfigManager.h"
#include "vellumo/ContainerPoolManager.h"

namespace vellumo::cli {

inline constexpr const char* kContainerPrefix = "navo";  // what marks a container's member

struct Container {
    std::string name;
    int inUse;  // commands in it now
    int used;   // commands ever started in it
};

// The entry of a container in which nothing has run yet.
Json::Value NewContainer();

// The pool as the state file's document has it. What is of a wrong type in the document reads as
// absent, as it does in the scheduler.
struct PoolState {
    std::vector<Container> containers;                // by name, ascending
    std::array<std::vector<std::string>, 3> waiting;  // job keys by priority
    std::vector<std::string> running;                 // job keys

    static PoolState Of(const Json::Value& document);

    size_t Waiting() const;  // jobs of every priority
    const Container* Find(const std::string& name) const;

    // Why a job of `priority` has to wait now, for people.
    std::string Obstacle(NAVO::VELLUMO::ContainerPoolManager::Priority priority) const;
};

// One visit to the state file: holds its lock, and has its document loaded, for as long as it
// lives.
class StateFileVisit {
public:
    enum class Purpose { kRead, kChange };

    // Throws Failure (`what` being what failed then) when the lock is not had within `timeoutSecs`
    // or the file cannot be read.
    StateFileVisit(Purpose purpose, std::string what, int timeoutSecs);

    // The content is not a JSON object, though there is some: nothing can be read from it, and a
    // change would drop it.
    bool IsDamaged() const { return _damaged; }

    // Throws Failure when the content is damaged.
    void RequireSound() const;

    Json::Value& Document() { return _manager.config; }

    // Writes the document back. Throws Failure when that fails.
    void Save();

    // Restores the factory default. Throws Failure when that fails.
    void Reset();

private:
    [[noreturn]] void Fail(const std::string& why, const std::string& next) const;
    [[noreturn]] void FailLock() const;
    bool LoadDocument();

    std::string _what;
    NAVO::VELLUMO::ConfigManager _manager;
    bool _damaged = false;
};

// The pool as it is now. Throws Failure as StateFileVisit does, and for damaged content.
PoolState ReadPool(const std::string& what, int timeoutSecs);

}  // namespace vellumo::cli

#endif

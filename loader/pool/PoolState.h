// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_POOLSTATE_H
#define VELLUMO_LOADER_POOLSTATE_H

#include <json/value.h>

#include <array>
#include <string>
#include <vector>

#include "vellumo/ContainerPoolManager.h"

namespace vellumo::loader {

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

// The pool as it is now. Throws Failure as StateFileVisit does, and for damaged content.
PoolState ReadPool(const std::string& what, int timeoutSecs);

}  // namespace vellumo::loader

#endif

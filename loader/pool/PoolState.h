// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_POOLSTATE_H
#define VELLUMO_LOADER_POOLSTATE_H

#include <json/value.h>

#include <array>
#include <string>
#include <vector>

#include "vellumo/ContainerPoolManager.h"

namespace vellumo::loader {

// A member of the state file whose name begins like this is a container.
inline constexpr const char* kContainerPrefix = "navo";

struct Container {
    std::string name;
    int inUse;  // commands that run in it now
    int used;   // commands ever started in it
};

// The state file's entry of a container in which nothing has run yet.
Json::Value NewContainer();

// The pool as the state file describes it. A member of a wrong type counts as absent, as it does in
// the scheduler.
struct PoolState {
    std::vector<Container> containers;                // by name, ascending
    std::array<std::vector<std::string>, 3> waiting;  // job keys by priority
    std::vector<std::string> running;                 // job keys

    static PoolState Of(const Json::Value& document);

    size_t Waiting() const;  // jobs of every priority
    const Container* Find(const std::string& name) const;

    // How many jobs of `priority` can run at once.
    size_t Slots(NAVO::VELLUMO::ContainerPoolManager::Priority priority) const;

    // Why a job of `priority` has to wait now, for people: "2 of 2 containers busy".
    std::string Obstacle(NAVO::VELLUMO::ContainerPoolManager::Priority priority) const;
};

// Reads the pool under the state file's lock. Throws Failure, with `what` as its Problem::what,
// when the lock is not free within `timeoutSecs` seconds, and when the file cannot be read or is
// damaged.
PoolState ReadPool(const std::string& what, int timeoutSecs);

}  // namespace vellumo::loader

#endif

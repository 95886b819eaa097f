// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_STATEFILEVISIT_H
#define VELLUMO_LOADER_STATEFILEVISIT_H

#include <json/value.h>

#include <string>

#include "loader/Problem.h"
#include "vellumo/ConfigManager.h"

namespace vellumo::loader {

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
    [[noreturn]] void Fail(Reason reason, const std::string& why, const std::string& next) const;
    [[noreturn]] void FailLock() const;
    bool LoadDocument();

    std::string _what;
    NAVO::VELLUMO::ConfigManager _manager;
    bool _damaged = false;
};

}  // namespace vellumo::loader

#endif

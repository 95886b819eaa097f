// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_STATEFILEVISIT_H
#define VELLUMO_LOADER_STATEFILEVISIT_H

#include <json/value.h>

#include <string>

#include "loader/Problem.h"
#include "vellumo/ConfigManager.h"

namespace vellumo::loader {

// Holds the lock of the state file, and its content as a JSON document, for as long as the object
// lives.
class StateFileVisit {
public:
    enum class Purpose { kRead, kChange };

    // Takes the lock, shared for kRead and exclusive for kChange, and loads the document. Waits for
    // at most `timeoutSecs` seconds. Throws Failure, with `what` as its Problem::what, when the
    // lock is not free within that time or the file cannot be opened.
    StateFileVisit(Purpose purpose, std::string what, int timeoutSecs);

    // Whether the file has content that is not a JSON object. The document is then empty, and
    // Save() would overwrite that content.
    bool IsDamaged() const { return _damaged; }

    // Throws Failure if IsDamaged().
    void RequireSound() const;

    Json::Value& Document() { return _manager.config; }

    // Writes the document back. Throws Failure when that fails.
    void Save();

    // Copies the factory default over the state file. Throws Failure when that fails.
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

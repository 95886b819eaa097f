// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_CONVERTINGMANAGER_H
#define VELLUMO_CONVERTER_CONVERTINGMANAGER_H

#include <string>

#include "support/Lease.h"
#include "vellumo/ConfigManager.h"

namespace NAVO::VELLUMO::converter {

// The mark, seen by all processes, that one of them is working on a document: a member of
// "runningFiles" in the state file. The object that has set the mark removes it when destroyed. It
// holds a lease of the mark, by which others see whether its process lives.
class ConvertingManager {
public:
    // `key`: the document's real path and what is being made of it.
    explicit ConvertingManager(std::string key);
    ~ConvertingManager();
    ConvertingManager(const ConvertingManager&) = delete;
    ConvertingManager& operator=(const ConvertingManager&) = delete;

    // Sets the mark, or takes over that of a process that has died, unless a living process or
    // another program has set it. Returns whether this object has it now. The check and the change
    // take the lock one after the other, so another program that checks at the same moment may set
    // the mark too.
    bool Insert();

    // Checks every USLEEP_TIME microseconds until the mark is gone, or its process has died: this
    // object then takes it over. Returns whether it has it now. Blocks without a time limit.
    bool WaitUntilGone();

private:
    bool IsMarked() const;
    bool IsSetByOther() const;
    void Set(bool alsoRemovesLeft);

    bool _inserted = false;
    std::string _key;
    ConfigManager _config;
    vellumo::support::Lease _lease;
};

}  // namespace NAVO::VELLUMO::converter

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_CONVERTINGMANAGER_H
#define VELLUMO_CONVERTER_CONVERTINGMANAGER_H

#include <string>

#include "vellumo/ConfigManager.h"

namespace NAVO::VELLUMO::converter {

// The mark, seen by all processes, that one of them is working on a document: a member of
// "runningFiles" in the state file. The object that has set the mark removes it when destroyed.
class ConvertingManager {
public:
    // `key`: the document's real path and what is being made of it.
    explicit ConvertingManager(std::string key);
    ~ConvertingManager();
    ConvertingManager(const ConvertingManager&) = delete;
    ConvertingManager& operator=(const ConvertingManager&) = delete;

    // Sets the mark unless another process has set it. Returns whether this object has set it. The
    // check and the change take the lock one after the other, so two processes that check at the
    // same moment may both set the mark.
    bool Insert();

    // Checks every USLEEP_TIME microseconds until the mark is gone. Blocks without a time limit.
    void WaitUntilGone();

private:
    bool IsMarked();

    bool _inserted = false;
    std::string _key;
    ConfigManager _config;
};

}  // namespace NAVO::VELLUMO::converter

#endif

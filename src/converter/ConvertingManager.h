// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_CONVERTINGMANAGER_H
#define VELLUMO_CONVERTER_CONVERTINGMANAGER_H

#include <string>

#include "vellumo/ConfigManager.h"

namespace NAVO::VELLUMO::converter {

// The mark, seen by all processes, that one of them is working on a document: a member of
// "runningFiles" in the state file. Whoever set the mark takes it away at the end of its scope,
// whatever happens.
class ConvertingManager {
public:
    // `key`: the document's real path and what is being made of it.
    explicit ConvertingManager(std::string key);
    ~ConvertingManager();
    ConvertingManager(const ConvertingManager&) = delete;
    ConvertingManager& operator=(const ConvertingManager&) = delete;

    // Sets the mark, unless another process has: true when it is this object's now. The look and
    // the change are two sections of the lock, so two processes that look at the same moment may
    // both set it.
    bool Insert();

    // Blocks, looking every USLEEP_TIME microseconds, until the mark is gone.
    void WaitUntilGone();

private:
    bool IsMarked();

    bool _inserted = false;
    std::string _key;
    ConfigManager _config;
};

}  // namespace NAVO::VELLUMO::converter

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_WARM_WARMPLACE_H
#define VELLUMO_ENGINE_WARM_WARMPLACE_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::engine {

// The directory through which a warm office and its callers communicate. It lies beside the scratch
// directories and exists for as long as the office is kept. The keeper holds a lock on a file in
// it. The kernel releases the lock when the keeper ends, so a directory without a lock is the
// leftover of a killed keeper.
class WarmPlace {
public:
    WarmPlace(const std::string& above, const std::string& name);

    std::string Run() const { return _path + "/run"; }        // the directory of the socket
    std::string Socket() const { return Run() + "/office"; }  // the socket of the office

    // Returns the process that keeps the office: 0 when it is in a process namespace that is not
    // visible here, none when no process keeps it.
    std::optional<pid_t> Keeper() const;

    // Whether the office is kept and accepts requests.
    bool IsReady() const;

    // Creates the directory and makes the calling process its keeper until the process ends. Call
    // it at most once in a process, for a place without a keeper. Throws Failure when the directory
    // cannot be created or locked.
    void Make();

    // Whether the place is still the one that Make() created: it may have been removed since, and
    // another keeper may have created a new one.
    bool IsOwn() const;

    // Removes the place with all its contents.
    void Remove() const;

private:
    std::string LockFile() const { return _path + "/lock"; }
    void Lock();

    std::string _above;
    std::string _path;
    support::Descriptor _lock;
};

// Returns the names of all warm places in the directory `above`, sorted.
std::vector<std::string> WarmNames(const std::string& above);

}  // namespace vellumo::engine

#endif

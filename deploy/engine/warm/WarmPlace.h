// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_WARM_WARMPLACE_H
#define VELLUMO_ENGINE_WARM_WARMPLACE_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::engine {

// Where the warm office of one name and its callers meet: a directory beside the scratch
// directories, which exists for as long as the office is kept. Its keeper holds a lock in it, which
// the kernel takes away with the process: what a killed keeper has left is known by that.
class WarmPlace {
public:
    WarmPlace(const std::string& above, const std::string& name);

    std::string Rooms() const { return _path + "/rooms"; }    // of the documents in work
    std::string Run() const { return _path + "/run"; }        // the directory of the socket
    std::string Socket() const { return Run() + "/office"; }  // where the office listens

    // The process that keeps the office: 0 when it cannot be seen from here, none when there is
    // none.
    std::optional<pid_t> Keeper() const;

    // Whether an office is kept that takes requests.
    bool IsReady() const;

    // Whether the office runs as the user `nobody`, or there is no such user here. Once Make() was
    // called.
    bool HasNobody() const;

    // Makes the place, with the calling process as the keeper for the rest of its life. Throws
    // Failure when that cannot be. One call at most in a process, at a place without a keeper.
    void Make();

    // Whether it is still the place that Make() made here: somebody may have removed that, and
    // another keeper made it anew.
    bool IsOwn() const;

    // Takes the place away, whatever is in it.
    void Remove() const;

private:
    std::string LockFile() const { return _path + "/lock"; }
    void Lock();

    std::string _above;
    std::string _path;
    support::Descriptor _lock;
};

// The names of all that are there.
std::vector<std::string> WarmNames(const std::string& above);

}  // namespace vellumo::engine

#endif

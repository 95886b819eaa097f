// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_LIMITS_H
#define VELLUMO_ENGINE_SANDBOX_LIMITS_H

#include <memory>
#include <vector>

#include "scratch/LockedDirectory.h"

namespace vellumo::engine {

// What all that runs in one sandbox may take together: 1536 MiB of memory and 256 processes, in a
// control group of its own. Where there is none to be had (who is not root seldom may make one),
// the memory is limited for each process alone, and the processes for all sandboxes of the user. No
// file in it may grow over 768 MiB, and no process leaves a core file.
class Limits {
public:
    // Makes the control groups, which are removed again at the object's end: nothing may run in
    // them any more then.
    Limits();

    // Puts the calling process and all that it will start under the limits.
    void Enter() const;

private:
    struct Group {
        std::unique_ptr<LockedDirectory> directory;
        bool memory;
        bool processes;
    };

    std::vector<Group> _groups;
};

}  // namespace vellumo::engine

#endif

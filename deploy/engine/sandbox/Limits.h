// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_LIMITS_H
#define VELLUMO_ENGINE_SANDBOX_LIMITS_H

#include <memory>
#include <vector>

#include "scratch/LockedDirectory.h"

namespace vellumo::engine {

// The limits of one sandbox. All its processes together may use 1536 MiB of memory and 256
// processes, which a control group of its own enforces. Where no control group can be created (only
// root usually may), the memory limit applies to each process alone, and one limit on processes
// applies to all sandboxes of the user together. No file may grow beyond 768 MiB, and no process
// leaves a core file.
class Limits {
public:
    // Creates the control groups. The destructor removes them; no process may run in them by then.
    Limits();

    // Applies the limits to the calling process and to all processes that it starts later.
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

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_CONTROLGROUPS_H
#define VELLUMO_ENGINE_SANDBOX_CONTROLGROUPS_H

#include <string>
#include <vector>

namespace vellumo::engine {

// A directory in which a process with sufficient rights can create a control group with limits.
struct GroupPlace {
    std::string directory;  // ends with a slash
    bool unified;           // control groups version 2
    bool memory;            // a group there can limit memory
    bool processes;         // a group there can limit the number of processes
};

// Returns the directories of this process's own control groups, or directories above them if limits
// can be set only there. The result is one place for both limits, one for each limit, or none.
std::vector<GroupPlace> FindGroupPlaces();

}  // namespace vellumo::engine

#endif

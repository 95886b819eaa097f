// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_CONTROLGROUPS_H
#define VELLUMO_ENGINE_SANDBOX_CONTROLGROUPS_H

#include <string>
#include <vector>

namespace vellumo::engine {

// A directory in which a group with these limits can be made by who has the right to.
struct GroupPlace {
    std::string directory;  // ends with a slash
    bool unified;           // of the second version of control groups
    bool memory;
    bool processes;
};

// Where this process's own groups are, or above them where only there limits can be set. One place
// for both limits, one for each, or none.
std::vector<GroupPlace> FindGroupPlaces();

}  // namespace vellumo::engine

#endif

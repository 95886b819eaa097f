// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONFIG_STATECHANGE_H
#define VELLUMO_CONFIG_STATECHANGE_H

#include <vector>

#include "support/Lease.h"
#include "vellumo/ConfigManager.h"

namespace NAVO::VELLUMO {

// A ConfigWriter that also ends leases: once the change is saved and before others can see it. When
// it cannot be saved, the leases become free, so that the next process to meet what they are of
// removes that.
class StateChange {
public:
    // `manager` is the caller's and must outlive the object.
    explicit StateChange(ConfigManager& manager);
    ~StateChange();
    StateChange(const StateChange&) = delete;
    StateChange& operator=(const StateChange&) = delete;

    // `lease` is of what this change removes from the state file. May be empty.
    void End(vellumo::support::Lease lease);

private:
    ConfigManager& _manager;
    const bool _isNested;
    const bool _relockRead;
    std::vector<vellumo::support::Lease> _ended;
};

// The beginning and the end of a change, for a writer that is not inside another one. FinishChange
// ends `ended` when the change is saved.
void BeginChange(ConfigManager& manager);
void FinishChange(ConfigManager& manager, bool relockRead,
                  std::vector<vellumo::support::Lease>& ended);

}  // namespace NAVO::VELLUMO

#endif

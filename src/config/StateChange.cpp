// SPDX-License-Identifier: Apache-2.0
#include "config/StateChange.h"

#include <utility>

#include "common/KeptErrno.h"

namespace NAVO::VELLUMO {

using vellumo::support::Lease;

void BeginChange(ConfigManager& manager) {
    const bool locked = manager.LockW();
    // Load also without the lock: the change is saved in any case and must not drop what other
    // processes have in the file.
    const bool loaded = manager.Load();
    manager.lastOk = locked && loaded;
}

void FinishChange(ConfigManager& manager, bool relockRead, std::vector<Lease>& ended) {
    const bool saved = manager.Save();
    if (saved) {
        const KeptErrno errors;
        for (Lease& lease : ended) {
            lease.End();
        }
    }
    const bool unlocked = manager.Unlock();
    const bool relocked = !relockRead || manager.LockR();
    manager.lastOk = saved && unlocked && relocked;
}

StateChange::StateChange(ConfigManager& manager)
    : _manager(manager), _isNested(manager.lockState == 2), _relockRead(manager.lockState != 0) {
    if (!_isNested) {
        BeginChange(_manager);
    }
}

StateChange::~StateChange() {
    if (!_isNested) {
        FinishChange(_manager, _relockRead, _ended);
    }
}

void StateChange::End(Lease lease) {
    _ended.push_back(std::move(lease));
}

}  // namespace NAVO::VELLUMO

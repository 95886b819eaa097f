// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONTAINER_LEFTSLOTS_H
#define VELLUMO_CONTAINER_LEFTSLOTS_H

#include <string>
#include <vector>

#include "support/Lease.h"
#include "vellumo/ContainerPoolManager.h"

namespace NAVO::VELLUMO {

// What the lease of a slot tells a healer. The command that a slot is claimed for begins at once
// and ends within its time limit.
struct SlotFields {
    std::string container;
    std::string key;    // of the running job
    long claimed = 0;   // when, in seconds since the server's start
    long lookedAt = 0;  // when a healer last found the command running; 0 for never
};

// Takes the lease of a free slot of the container; empty when each has one.
vellumo::support::Lease LeaseSlotOf(const SlotFields& slot, int parallelCount);

// The slots of processes that have died. A slot is given back only when nothing runs in the
// container any more: with some engines a command goes on when its client is killed.
class LeftSlots {
public:
    // `config` is the pool's and must outlive the object.
    LeftSlots(ContainerPoolManager& pool, ConfigManager& config) : _pool(pool), _config(config) {}

    // Takes over the leases of all left slots, and puts into the state file what it does not say of
    // the slots that are taken, as after its loss. The caller holds its exclusive lock.
    void Find(int parallelCount);

    // Looks into the containers of the slots found, without the lock, and gives back those in which
    // nothing runs. Leaves the others to the next who finds them. Returns whether it gave back any.
    bool GiveBackIdle();

private:
    struct Slot {
        vellumo::support::Lease lease;
        std::string name;
        SlotFields fields;
    };
    bool IsHeld(const std::string& name);
    bool IsLeft(const std::string& name);
    void CountAtLeast(const std::string& container, int taken);
    void GiveBack(Slot& slot);

    ContainerPoolManager& _pool;
    ConfigManager& _config;
    std::vector<Slot> _found;
};

}  // namespace NAVO::VELLUMO

#endif

// SPDX-License-Identifier: Apache-2.0
#include "container/LeftSlots.h"

#include <charconv>
#include <ctime>
#include <utility>

#include "common/JsonAccess.h"
#include "common/KeptErrno.h"
#include "config/Leases.h"
#include "config/StateChange.h"
#include "config/StateMembers.h"
#include "container/Docker.h"

namespace NAVO::VELLUMO {
namespace {

using vellumo::support::Lease;

// After that time no command runs any more, wherever it was started: its limit, and the start.
constexpr long kLongestSecs = docker::kTimeLimitSecs + docker::kKillAfterSecs + 15;
// Between two looks into a container in which the command of a dead process still runs.
constexpr long kLookPauseSecs = 2;

// Goes on while the server sleeps and when its clock is set.
long Now() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec;
}

long NumberIn(const std::string& text) {
    long number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string SlotName(const std::string& container, int number) {
    return container + ':' + std::to_string(number);
}

leases::Fields FieldsOf(const std::string& name, const SlotFields& slot) {
    return {name, slot.container, slot.key, std::to_string(slot.claimed),
            std::to_string(slot.lookedAt)};
}

bool Read(const leases::Fields& fields, SlotFields& slot) {
    if (fields.size() != 5) {
        return false;
    }
    slot = {fields[1], fields[2], NumberIn(fields[3]), NumberIn(fields[4])};
    return true;
}

bool IsIdle(const SlotFields& slot) {
    const docker::Activity activity = docker::ActivityIn(slot.container);
    return activity == docker::Activity::kIdle ||
           (activity == docker::Activity::kUnknown && Now() - slot.claimed > kLongestSecs);
}

}  // namespace

Lease LeaseSlotOf(const SlotFields& slot, int parallelCount) {
    SlotFields now = slot;
    now.claimed = Now();
    std::vector<leases::Fields> all;
    for (int number = 0; number < parallelCount; ++number) {
        const std::string name = SlotName(slot.container, number);
        if (!leases::IsLeft(leases::kSlot, name)) {
            all.push_back(FieldsOf(name, now));
        }
    }
    return leases::TakeOne(leases::kSlot, all);
}

void LeftSlots::Find(int parallelCount) {
    _found.clear();
    for (const std::string& container : ContainerNames(_config.config)) {
        int taken = 0;
        for (int number = 0; number < parallelCount; ++number) {
            const std::string name = SlotName(container, number);
            taken += IsHeld(name) || IsLeft(name) ? 1 : 0;
        }
        CountAtLeast(container, taken);
    }
}

// A command that runs is in the state file, unless that was lost meanwhile. When it is not one
// after all, because its process has just released it and dies, it is a left one with the next
// look.
bool LeftSlots::IsHeld(const std::string& name) {
    SlotFields slot;
    if (!Read(leases::FieldsOfHeld(leases::kSlot, name), slot)) {
        return false;
    }
    if (!json::HasMember(json::Member(_config.config, kRunningQueue), slot.key)) {
        json::AsObject(_config.config[kRunningQueue])[slot.key] = true;
    }
    return true;
}

// Takes the slot's lease over. Both members of a slot are changed by one save, so the job tells
// whether the slot is taken: its process may have died before it had claimed it, or when it had
// released it.
bool LeftSlots::IsLeft(const std::string& name) {
    leases::Fields fields;
    Slot slot{leases::TakeOver(leases::kSlot, name, fields), name, {}};
    if (!slot.lease) {
        return false;
    }
    const Json::Value& running = json::Member(_config.config, kRunningQueue);
    if (!Read(fields, slot.fields) || !json::HasMember(running, slot.fields.key)) {
        slot.lease.End();
        return false;
    }
    if (Now() - slot.fields.lookedAt >= kLookPauseSecs) {
        _found.push_back(std::move(slot));
    }
    return true;
}

// A container that is registered anew counts nothing, also when commands run in it. The next
// command there would get no lease, because they have them all.
void LeftSlots::CountAtLeast(const std::string& container, int taken) {
    Json::Value& entry = _config.config[container];
    if (json::Integer(json::Member(entry, kUsing)) < taken) {
        json::AsObject(entry)[kUsing] = taken;
    }
}

bool LeftSlots::GiveBackIdle() {
    const KeptErrno errors;
    std::vector<Slot> found;
    found.swap(_found);
    bool any = false;
    for (Slot& slot : found) {
        if (IsIdle(slot.fields)) {
            GiveBack(slot);
            any = true;
        } else {
            slot.fields.lookedAt = Now();
            leases::SetFields(slot.lease, FieldsOf(slot.name, slot.fields));
        }
    }
    return any;
}

void LeftSlots::GiveBack(Slot& slot) {
    const std::vector<std::string> command;
    StateChange change(_config);
    _pool.DecUsingCount(slot.fields.container);
    _pool.RemoveRunningQueue({slot.fields.key, command, ContainerPoolManager::PRIORITY_HIGH});
    change.End(std::move(slot.lease));
}

}  // namespace NAVO::VELLUMO

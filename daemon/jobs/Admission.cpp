// SPDX-License-Identifier: Apache-2.0
#include "jobs/Admission.h"

#include <algorithm>

#include "loader/Text.h"

namespace vellumo::daemon {
namespace {

bool IsNightsWork(Lane lane) {
    return lane == Lane::kQueued || lane == Lane::kFound;
}

// A pool of one slot would otherwise never be used.
size_t WorkersFor(Lane lane, const Situation& situation) {
    const size_t spare = std::max<size_t>(situation.slots, 2) - 1;
    const size_t most = lane == Lane::kNow ? situation.slots : spare;
    return situation.workers == 0 ? most : std::min(most, situation.workers);
}

}  // namespace

std::string ObstacleFor(Lane lane, const Situation& situation) {
    if (situation.slots == 0) {
        return "the pool has no container";
    }
    if (situation.running >= WorkersFor(lane, situation)) {
        return loader::Count(situation.running, "document") + " at work";
    }
    if (lane == Lane::kNow) {
        return "";
    }
    if (situation.othersWaiting > 0) {
        return loader::Count(situation.othersWaiting, "job") + " of other programs waiting";
    }
    if (!situation.overload.empty()) {
        return situation.overload;
    }
    return IsNightsWork(lane) && !situation.isNight ? "outside the hours of the night's work" : "";
}

}  // namespace vellumo::daemon

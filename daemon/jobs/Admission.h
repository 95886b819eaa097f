// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_ADMISSION_H
#define VELLUMO_DAEMON_ADMISSION_H

#include <cstddef>
#include <string>

#include "jobs/Item.h"

namespace vellumo::daemon {

// What decides whether one more document may be converted.
struct Situation {
    size_t slots = 0;          // of the pool
    size_t running = 0;        // documents that the daemon converts now
    size_t workers = 0;        // the most that the settings allow; 0: the pool's slots less one
    size_t othersWaiting = 0;  // jobs of other programs that wait for a slot
    bool isNight = true;       // within the hours of the night's work
    std::string overload;      // why background work pauses; "" when it need not
};

// Why no document of `lane` may be started now, for people; "" when one may.
//
// Whoever waits comes first: one slot stays free for people, and nothing is converted ahead of
// time while somebody waits for a slot.
std::string ObstacleFor(Lane lane, const Situation& situation);

}  // namespace vellumo::daemon

#endif

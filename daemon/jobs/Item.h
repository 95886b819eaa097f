// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_ITEM_H
#define VELLUMO_DAEMON_ITEM_H

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "loader/queue/Operation.h"

namespace vellumo::daemon {

// How urgent something is, the most urgent first.
enum class Lane {
    kNow,      // somebody waits for it
    kChanged,  // a document that has just been changed
    kQueued,   // a task of the queue, or a line of the indexing queue
    kFound     // a document without products that a walk has found
};
inline constexpr std::array kLanes{Lane::kNow, Lane::kChanged, Lane::kQueued, Lane::kFound};

// The lane's name in status and metrics.
inline const char* NameOf(Lane lane) {
    constexpr std::array kNames{"now", "changed", "queued", "found"};
    return kNames.at(static_cast<size_t>(lane));
}

// A document whose products are to be kept.
struct Item {
    std::string realPath;
    loader::Products products = loader::Products::kBoth;
    Lane lane = Lane::kQueued;
    std::vector<std::string> tasks = {};  // rows of the queue that are done with it
};

}  // namespace vellumo::daemon

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLSETUP_H
#define VELLUMO_TOOLS_POOLSETUP_H

#include <optional>
#include <string>

#include "Command.h"

namespace vellumo::cli {

// What a person asks of the pool.
struct PoolWishes {
    std::optional<size_t> size;         // containers; else what the machine is good for
    std::optional<std::string> engine;  // "docker" or "embedded"; else the one that is there
    std::string image = "vellumo-converters";
    std::string engineScratch;  // where the engine finds the scratch tree; "" where it is here too
    bool rebuild = false;       // makes the image, and the containers, anew
    bool force = false;         // takes down what counts as busy too
};

// vellumo pool up: builds or finds the image, starts the containers navo1, navo2, … or, with the
// embedded engine, their warm offices where these are possible, registers
// them, and takes out of the pool what is gone. What runs already is left alone, so it may be
// called again at any time. Sets the counts right that a crash has left behind, and drops its jobs,
// where nothing runs provably.
CommandResult BringPoolUp(const PoolWishes& wishes, bool json);

// vellumo pool down: takes the containers out of the pool and ends them.
CommandResult TakePoolDown(const PoolWishes& wishes, bool json);

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLWISHES_H
#define VELLUMO_TOOLS_POOLWISHES_H

#include <cstddef>
#include <optional>
#include <string>

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

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLWISHES_H
#define VELLUMO_TOOLS_POOLWISHES_H

#include <cstddef>
#include <optional>
#include <string>

namespace vellumo::cli {

// The options of pool up and pool down.
struct PoolWishes {
    std::optional<size_t> size;         // number of containers; null: by cores and memory
    std::optional<std::string> engine;  // "docker" or "embedded"; null: any
    std::string image = "vellumo-converters";
    std::string engineScratch;  // path of the scratch tree for the engine; "": the same as here
    bool rebuild = false;       // up: build the image again and replace idle containers
    bool force = false;         // down: also end containers that count as busy
};

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#include "Memory.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>

#include "Failure.h"
#include "Statuses.h"

namespace vellumo::office {
namespace {

constexpr uint64_t kMebibyte = uint64_t{1} << 20U;
// The office itself takes 60 MiB of its own and 140 that it shares with every other office.
constexpr uint64_t kNeeded = 300 * kMebibyte;

uint64_t Available() {
    std::ifstream file("/proc/meminfo");
    std::string name;
    uint64_t kibibytes = 0;
    std::string unit;
    while (file >> name >> kibibytes && std::getline(file, unit)) {
        if (name == "MemAvailable:") {
            return kibibytes * 1024;
        }
    }
    return UINT64_MAX;
}

// The limit of the container; none is written as "max", or as a very large number.
uint64_t Limit(const char* path) {
    std::ifstream file(path);
    uint64_t limit = 0;
    return file >> limit ? limit : UINT64_MAX;
}

}  // namespace

void CheckMemory() {
    const uint64_t memory = std::min({Available(), Limit("/sys/fs/cgroup/memory.max"),
                                      Limit("/sys/fs/cgroup/memory/memory.limit_in_bytes")});
    if (memory < kNeeded) {
        throw Failure(kCannotPreload, "only " + std::to_string(memory / kMebibyte) +
                                          " MiB of memory are free; " +
                                          std::to_string(kNeeded / kMebibyte) + " are needed");
    }
}

}  // namespace vellumo::office

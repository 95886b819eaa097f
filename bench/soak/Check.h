// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_BENCH_SOAK_CHECK_H
#define VELLUMO_BENCH_SOAK_CHECK_H

#include <cstdint>
#include <string>
#include <vector>

#include "Documents.h"

namespace vellumo::soak {

// When somebody stopped, killed or started the daemon, or took its containers away.
struct Disturbance {
    int64_t begin = 0;
    int64_t end = 0;
};

// What is not as it should be; empty when all is well. Each prints what it has counted.
using Faults = std::vector<std::string>;

// Every document has its products, and these were made of its content.
Faults CheckProducts(const Documents& documents);

// Nothing was converted more often than it changed, but for good reasons.
Faults CheckRepetitions(const Documents& documents, const std::vector<Disturbance>& disturbances);

// There are no products of documents that are gone.
Faults CheckForgotten(const Documents& documents);

// No mark, job, slot, lease, scratch file or task is left.
Faults CheckLeftovers();

}  // namespace vellumo::soak

#endif

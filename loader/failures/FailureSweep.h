// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_FAILURESWEEP_H
#define VELLUMO_LOADER_FAILURESWEEP_H

#include "loader/cache/Sweep.h"

namespace vellumo::loader {

// Forgets the failures of documents that are gone or have changed, unless it is a dry run: the part
// of a sweep that Sweep() leaves out. Does nothing where the memory of failures cannot be used. A
// memory that fails in the middle is a problem for `watch`.
void SweepFailures(bool isDryRun, SweepWatch& watch);

}  // namespace vellumo::loader

#endif

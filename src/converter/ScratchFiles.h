// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_SCRATCHFILES_H
#define VELLUMO_CONVERTER_SCRATCHFILES_H

#include <string>
#include <vector>

#include "support/Lease.h"
#include "vellumo/Path.h"

namespace NAVO::VELLUMO::converter {

// A lease of the scratch files that this thread creates while the object lives: if the process
// dies, a later conversion removes them. An object inside another one on the same thread uses the
// lease of that one, so a service covers the products of the conversions that it consists of.
class ScratchLease {
public:
    ScratchLease();
    ~ScratchLease();
    ScratchLease(const ScratchLease&) = delete;
    ScratchLease& operator=(const ScratchLease&) = delete;

    // Notes in the lease of this thread that files are about to be created, and which ones they
    // are. Without a lease, both do nothing.
    static void Announce();
    static void Note(const path::Path& source, const path::Path& target);

private:
    vellumo::support::Lease _lease;
    const bool _isOutermost;
};

// Removes a scratch source and what is kept of it.
void RemoveScratchSource(const path::Path& source);

// Removes a product in the scratch directory, and what a killed engine may have left of it.
void RemoveScratchTarget(const std::string& target);

// Removes the scratch files in `directories` of processes that have died, unless a command may
// still use them. Does it at some later call while another process is creating such files.
void RemoveLeftScratchFiles(const std::vector<std::string>& directories);

}  // namespace NAVO::VELLUMO::converter

#endif

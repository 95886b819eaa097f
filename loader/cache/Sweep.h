// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_SWEEP_H
#define VELLUMO_LOADER_SWEEP_H

#include <cstdint>
#include <string>

namespace vellumo::loader {

// Something that nobody needs any more.
struct Leftover {
    enum class Kind {
        kProducts,    // the products of a document that is gone, or that was replaced
        kIndexEntry,  // an entry of the cache's index whose product is gone
        kScratch,     // a scratch file whose conversion has ended
        kOldFolder,   // a folder .navoea of an earlier version, beside the documents
        kFailure      // the failure of a document that is gone or has changed; see SweepFailures
    };

    Kind kind;
    std::string path;  // of the directory or file; of the document for an index entry and a failure
    int64_t bytes = 0;
};

// The name of a kind: "products", "index-entry", "scratch", "old-folder", "failure".
const char* NameOf(Leftover::Kind kind);

// Follows a sweep.
class SweepWatch {
public:
    virtual ~SweepWatch() = default;
    // What the sweep looks through now, for people: "/volume1".
    virtual void Enters(const std::string& where) = 0;
    // Is called once for each leftover. `problem`: why it cannot be removed; empty when it is
    // removed, or when nothing is to be removed.
    virtual void Finds(const Leftover& leftover, const std::string& problem) = 0;
    // True to leave it where it is, and not to tell of it.
    virtual bool Spares(const Leftover& /*leftover*/) { return false; }
    // True to end the sweep before the next step.
    virtual bool WantsEnd() = 0;
};

// Looks for leftovers on all volumes and removes them, unless it is a dry run. Safe while
// conversions run, also in other processes. Scratch files count as left when they are older than
// `scratchAge` seconds and no job in the state file names them. Must run as root. Throws Failure
// when the index or the state file cannot be read; what was removed before that stays removed.
void Sweep(bool isDryRun, int64_t scratchAge, SweepWatch& watch);

}  // namespace vellumo::loader

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_COLLECTION_H
#define VELLUMO_LOADER_COLLECTION_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "loader/settings/Settings.h"

namespace vellumo::loader {

// The limit of the cache in bytes by the setting cacheLimit. A share is one of all file systems on
// which products are kept, together; while there is none, of all on which they may be.
//
// No value while the limit is not known, because the setting or the whole file is refused or no
// file system tells its size. Then nothing may be removed: a limit that is too low costs the work
// of nights.
std::optional<int64_t> LimitOf(const Settings& settings);

// What a collection has done.
struct Collected {
    size_t streams = 0;
    int64_t bytes = 0;
};

// Removes the indexed products whose last access is the longest ago, until at most `limit` bytes
// stay. Removes no more than that: unlike CacheManager::GarbageCollect, it counts each product with
// its own size. Several processes may collect at once; they remove the same products. A process
// that dies leaves at most entries without files, which the next collection removes.
//
// Throws Failure, with `what` as its Problem::what, when the index cannot be read or changed. What
// has been removed until then is gone.
Collected CollectDownTo(int64_t limit, const std::string& what);

// Keeps the cache near its limit while a program stores many PDFs without automatic collection.
// Without a limit it removes nothing.
//
// It collects after every 200 PDFs, or as soon as those stored since then take a sixteenth of the
// limit, and at the end. So the cache exceeds its limit by no more than the larger of one PDF and a
// sixteenth, for each process that stores. The number bounds the length of one collection, during
// which the program does nothing else.
class BulkCollection {
public:
    explicit BulkCollection(std::optional<int64_t> limit = std::nullopt) : _limit(limit) {}

    // Takes another limit from now on.
    void SetLimit(std::optional<int64_t> limit) { _limit = limit; }

    // Counts a PDF of `bytes` that was stored; collects if it is time to. Throws as CollectDownTo.
    void NoteStored(int64_t bytes);

    // Collects if anything was stored since the last collection. Throws as CollectDownTo.
    void Finish();

    std::optional<int64_t> Limit() const { return _limit; }

private:
    std::optional<int64_t> _limit;
    size_t _storedStreams = 0;
    int64_t _storedBytes = 0;
};

}  // namespace vellumo::loader

#endif

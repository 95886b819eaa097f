// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_COLLECTION_H
#define VELLUMO_LOADER_COLLECTION_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "loader/settings/SettingValue.h"

namespace vellumo::loader {

// The limit in bytes. A share is one of all volumes on which products are kept, together; while
// there is none, of all volumes.
int64_t BytesOf(const SizeOrShare& limit);

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
//
// It collects after every 200 PDFs, or as soon as those stored since then take a sixteenth of the
// limit, and at the end. So the cache exceeds its limit by no more than the larger of one PDF and a
// sixteenth, for each process that stores. The number bounds the length of one collection, during
// which the program does nothing else.
class BulkCollection {
public:
    explicit BulkCollection(int64_t limit) : _limit(limit) {}

    // Counts a PDF of `bytes` that was stored; collects if it is time to. Throws as CollectDownTo.
    void NoteStored(int64_t bytes);

    // Collects if anything was stored since the last collection. Throws as CollectDownTo.
    void Finish();

    int64_t Limit() const { return _limit; }

private:
    int64_t _limit;
    size_t _storedStreams = 0;
    int64_t _storedBytes = 0;
};

}  // namespace vellumo::loader

#endif

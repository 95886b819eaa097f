// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_CACHEINDEX_H
#define VELLUMO_LOADER_CACHEINDEX_H

#include <cstdint>
#include <string>
#include <vector>

#include "vellumo/BaseDB.h"

namespace vellumo::loader {

// A product that the index of the cache lists.
struct IndexedStream {
    std::string target;  // the document's real path
    std::string stream;
    int64_t size;      // bytes
    int64_t access;    // last one, seconds since the epoch
    int64_t modified;  // the document's time when it was stored; -1 when that is not recorded
};

// How much the index says is kept.
struct CacheTotals {
    int64_t documents = 0;
    int64_t streams = 0;
    int64_t bytes = 0;
};

// The index of the cache, for reading. An index that is not there yet is an empty one, and is not
// created. Every operation throws Failure (`what` being what failed then) when the index cannot be
// read.
class CacheIndex {
public:
    explicit CacheIndex(std::string what);

    // What is listed for the document at `realPath` and for those below it, all with "", ordered by
    // documents.
    std::vector<IndexedStream> Streams(const std::string& realPath);

    CacheTotals Totals();

    // Gives unused room in the index's file back.
    void Compact();

private:
    std::vector<NAVO::VELLUMO::Row> Query(const std::string& sql);
    [[noreturn]] void Fail() const;

    std::string _what;
    NAVO::VELLUMO::BaseDB _db;
    bool _exists;
};

}  // namespace vellumo::loader

#endif

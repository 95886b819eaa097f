// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_CACHEINDEX_H
#define VELLUMO_LOADER_CACHEINDEX_H

#include <cstdint>
#include <string>
#include <vector>

#include "vellumo/BaseDB.h"

namespace vellumo::loader {

// A product in the index of the cache.
struct IndexedStream {
    std::string target;  // the document's real path
    std::string stream;
    int64_t size;      // bytes
    int64_t access;    // time of the last access, seconds since the epoch
    int64_t modified;  // the document's modification time when it was stored; -1: not recorded
};

// The sums over the whole index.
struct CacheTotals {
    int64_t documents = 0;
    int64_t streams = 0;
    int64_t bytes = 0;
};

// The index of the cache, for reading and housekeeping. A missing index counts as empty and is not
// created. Every operation but Forget, the constructor included, throws Failure when the index
// cannot be read.
class CacheIndex {
public:
    // `what`: the failure's Problem::what, such as "cannot list the cache".
    explicit CacheIndex(std::string what);

    // The products of the document at `realPath` and of all documents below it; with "", of every
    // document. Ordered by document.
    std::vector<IndexedStream> Streams(const std::string& realPath);

    CacheTotals Totals();

    // The `most` products whose last access is the longest ago, oldest first, and the sum of the
    // sizes of all products, both of the same moment. Their `modified` is not read.
    struct Oldest {
        int64_t allBytes = 0;
        std::vector<IndexedStream> streams;
    };
    Oldest OldestStreams(size_t most);

    // Removes the entry, and that of its document if it was the document's last. Returns false,
    // with a message in the system log, on failure.
    bool Forget(const IndexedStream& stream);

    // The same for all of them, in one transaction.
    bool Forget(const std::vector<IndexedStream>& streams);

    // Returns unused space in the index's file to the file system.
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

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CACHEMANAGER_H
#define VELLUMO_CACHEMANAGER_H

#include <cstdint>
#include <fstream>
#include <string>

#include "BaseDB.h"
#include "Export.h"

namespace NAVO::VELLUMO {

// The cache of what was made from documents. Each product is a stream: a named file in the
// document's extended-attribute directory. An index, cache.db (SZF_CACHE_DB_PATH), lists streams by
// the document's real path (the "target") and the stream's name (SZK_THUMB_PDF_TYPE, …).
//
// The cache removes all streams of a document when the document's modification time differs from
// the one recorded when the first of them was stored. When all streams together exceed a limit, it
// removes those that were accessed longest ago.
//
// Create an object for one operation and use it in one thread. It becomes root for moments: no
// other thread may change the effective ids at that time. SQLite's locks keep processes apart in
// the index. Files of streams have no lock: a process that opens a stream while another removes it
// either reads all of it or cannot open it.
// Changes of the index wait for at most 150 seconds for another process's lock, queries for at most
// one second.
//
// Tables: cache_target(path, modify) and cache(stream, size, access, target); times in seconds
// since the epoch, sizes in bytes.
class VELLUMO_API CacheManager {
public:
    // Opens cache.db and creates its tables if they are missing. `opened` tells whether that
    // worked; if not, a message is in the system log, and statements that follow fail and are
    // logged too.
    // `autoCollect`: collect garbage and compact the database after every Set. `sizeLimit`: how
    // many bytes all streams together may have before garbage is collected.
    CacheManager(bool autoCollect, long sizeLimit);
    ~CacheManager();
    CacheManager(const CacheManager&) = delete;
    CacheManager& operator=(const CacheManager&) = delete;

    // Stores the file `source` as a stream of `target`: moves it when `move`, else copies it.
    // Before that, removes what is cached for an older version of the document.
    // Returns false when `source` or `target` cannot be examined or the document's
    // extended-attribute directory cannot be created; nothing is then stored. Otherwise returns
    // true, also when the move, the copy or the entry in the index fails; that is logged.
    bool Set(const std::string& source, const std::string& target, const std::string& stream,
             bool move);

    // Opens the stream for reading into `in`; the index need not list it. Before that, removes all
    // streams of the document when the document has changed. Records the access in the index.
    // Returns false when there is no such stream, when the platform refuses the path or, with a
    // message in the system log, when the process cannot become root.
    bool Get(const std::string& target, const std::string& stream, std::ifstream& in);

    // Whether the document's modification time differs from the recorded one. False for a document
    // that does not exist or is not recorded.
    bool IsTargetModified(const std::string& target);

    // Removes all streams of `target` that the index lists: first the files, as root, then the
    // entries. The second and the third operation do one half each. Failures are logged.
    void CleanCache(const std::string& target);
    void CleanCacheInEADir(const std::string& target);
    void CleanCacheInDB(const std::string& target);

    // Removes one stream, with the caller's own rights, and its entry. Returns false only when the
    // document's extended-attribute directory cannot be created; other failures are logged.
    bool Remove(const std::string& target, const std::string& stream);

    // Creates the document's extended-attribute directory, as root, if it is missing. Returns false
    // when the platform refuses the path, when the directory cannot be created or, with a message
    // in the system log, when the process cannot become root.
    static bool MakeEADir(const std::string& target);

    // Sets `path` to the file of a stream, and creates its directory as MakeEADir does. Returns
    // false, with `path` untouched, when MakeEADir fails or the platform refuses the stream's name.
    static bool GetEAPath(const std::string& target, const std::string& stream, std::string& path);

    // Write entries of the index; InsertDB does what InsertTarget and InsertCache do. `modify`: the
    // document's modification time. `size`: the stream's size. Of each, the first value recorded
    // stays. InsertCache and UpdateCache record the current time as the last access.
    // Return false, with a message in the system log, on failure.
    bool InsertDB(const std::string& target, long modify, const std::string& stream, long size);
    bool InsertTarget(const std::string& target, long modify);
    bool InsertCache(const std::string& target, const std::string& stream, long size);
    bool UpdateCache(const std::string& target, const std::string& stream);

    // Returns how many bytes all streams together have beyond the limit; 0 within it and on
    // failure.
    int64_t CalculateGCSize();

    // When the streams exceed the limit, removes streams, those accessed longest ago first, until
    // the removed ones count more bytes than the excess. Then removes the entries of documents
    // without streams. Every stream counts with the size of the first one in this order.
    // Removes files with the caller's own rights but their entries in any case, so the caller
    // should be root.
    void GarbageCollect();

private:
    // For the library itself: Set() for the file to which the extended-attribute directory
    // `directory` belongs. Returns false also when another file is at `target` by now.
    friend VELLUMO_INTERNAL bool SetIn(CacheManager& cache, const std::string& directory,
                                       const std::string& source, const std::string& target,
                                       const std::string& stream, bool move);
    VELLUMO_INTERNAL bool Store(const std::string& source, const std::string& target,
                                const std::string& stream, bool move, const std::string& directory);
    VELLUMO_INTERNAL bool RemoveCollected(const std::string& target, const std::string& stream);

    bool autoCollect;
    int64_t sizeLimit;
    BaseDB _db;

public:
    // Declared last because the order of the fields is part of the binary interface.

    bool opened = false;  // whether the database is open and has its tables
};

}  // namespace NAVO::VELLUMO

#endif

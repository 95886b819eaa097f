// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CACHEMANAGER_H
#define VELLUMO_CACHEMANAGER_H

#include <cstdint>
#include <fstream>
#include <string>

#include "BaseDB.h"
#include "Export.h"

namespace NAVO::VELLUMO {

// What was derived from documents: named streams beside each document, in its extended-attribute
// directory, indexed in cache.db (SZF_CACHE_DB_PATH) by the pair of the document's real path (the
// "target") and the stream's name (SZK_THUMB_PDF_TYPE, …).
//
// A document's streams go when its modification time is no longer the one recorded when the first
// of them was stored; streams used longest ago go when all of them together exceed a limit.
// Tables: cache_target(path, modify) and cache(stream, size, access, target); times in seconds
// since the epoch, sizes in bytes.
//
// An object is made for one operation, belongs to one thread and becomes root for moments, so no
// other thread may do the same at that time. Processes are kept apart by SQLite; files of streams
// have no lock, so a stream that is being collected is read whole or not at all.
class VELLUMO_API CacheManager {
public:
    // Opens cache.db and creates its tables where they are missing. `opened` tells whether that
    // worked; if not, it was logged, and statements that follow fail and are logged.
    // `autoCollect`: collect garbage and compact the database after every Set. `sizeLimit`: bytes
    // that all streams together may have before garbage is collected.
    CacheManager(bool autoCollect, long sizeLimit);
    ~CacheManager();
    CacheManager(const CacheManager&) = delete;
    CacheManager& operator=(const CacheManager&) = delete;

    // Stores the file `source` as a stream of `target`, moving it (`move`) or copying it. What is
    // cached for an older version of the document is removed first.
    // False when either file cannot be looked at or the document's directory cannot be had; true
    // otherwise, also when the move or the entry in the index failed, which is logged.
    bool Set(const std::string& source, const std::string& target, const std::string& stream,
             bool move);

    // Opens the stream for reading into `in`; the index need not know it. Removes all of the
    // document's streams first when the document has changed. Notes the access. False when there
    // is no such stream.
    bool Get(const std::string& target, const std::string& stream, std::ifstream& in);

    // Whether the document's modification time differs from the one recorded; false for a document
    // that is not there or not recorded.
    bool IsTargetModified(const std::string& target);

    // Removes all streams of `target` that the index lists: the files, then the entries.
    void CleanCache(const std::string& target);
    void CleanCacheInEADir(const std::string& target);
    void CleanCacheInDB(const std::string& target);

    // Removes one stream and its entry. False only when the document's directory cannot be had;
    // other failures are logged.
    bool Remove(const std::string& target, const std::string& stream);

    // Makes sure that the document's extended-attribute directory exists, made by root.
    static bool MakeEADir(const std::string& target);

    // Sets `path` to the file of a stream, and makes sure that its directory exists.
    static bool GetEAPath(const std::string& target, const std::string& stream, std::string& path);

    // Entries of the index. `modify`: the document's modification time; it stays the first one
    // recorded. `size`: the stream's; it stays the first one recorded too. InsertCache and
    // UpdateCache note the current time as the last access. False, with a message, on failure.
    bool InsertDB(const std::string& target, long modify, const std::string& stream, long size);
    bool InsertTarget(const std::string& target, long modify);
    bool InsertCache(const std::string& target, const std::string& stream, long size);
    bool UpdateCache(const std::string& target, const std::string& stream);

    // Bytes beyond the limit; 0 within it and on failure.
    int64_t CalculateGCSize();

    // When there are bytes beyond the limit, removes streams, those accessed longest ago first,
    // until more than that has been counted; then the entries of documents without streams. Each
    // stream counts as much as the first one removed in this run. Files are removed with the
    // caller's own rights, while their entries go in any case: the caller should be root.
    void GarbageCollect();

private:
    VELLUMO_INTERNAL bool RemoveCollected(const std::string& target, const std::string& stream);

    bool autoCollect;
    int64_t sizeLimit;
    BaseDB _db;

public:
    // Here, since the order of the fields is part of the binary interface.
    bool opened = false;  // whether the database is open with its tables in place
};

}  // namespace NAVO::VELLUMO

#endif

// SPDX-License-Identifier: Apache-2.0
#include "vellumo/CacheManager.h"

#include <fcntl.h>
#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

#include "cache/Statements.h"
#include "common/Log.h"
#include "common/RunAs.h"
#include "path/ExtendedAttributes.h"
#include "support/Descriptor.h"
#include "support/FileCopy.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "CacheManager";

bool Stat(const std::string& path, struct stat& status) {
    return NLIBCFileStat(path.c_str(), 1, &status) == 0;
}

bool StatAsRoot(const std::string& path, struct stat& status) {
    const RunAsRoot root(kSource, __LINE__);
    return root && Stat(path, status);
}

void RemoveFileAsRoot(const std::string& path) {
    const RunAsRoot root(kSource, __LINE__);
    if (!root) {
        log::Error(kSource, __LINE__, "ifrunas failed");
        return;
    }
    if (unlink(path.c_str()) != 0) {
        log::Plain(kSource, __LINE__, "cache remove fail %s", path.c_str());
    }
}

// Opens only a regular file with one name, which is no link. On failure, `in` is in the fail state.
void OpenStream(const std::string& path, std::ifstream& in) {
    struct stat status {};
    const vellumo::support::Descriptor file(
        open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_nlink != 1) {
        in.setstate(std::ios::failbit);
        return;
    }
    in.open("/proc/self/fd/" + std::to_string(file.Get()), std::ios::in);
}

long Now() {
    return std::time(nullptr);
}

}  // namespace

CacheManager::CacheManager(bool collect, long limit) : autoCollect(collect), sizeLimit(limit) {
    _db.path = SZF_CACHE_DB_PATH;
    if (!_db.Open()) {
        log::Error(kSource, __LINE__, "open db failed");
        return;
    }
    if (!_db.ExecTransaction(cache::kSchema)) {
        log::Error(kSource, __LINE__, "create db failed");
        return;
    }
    opened = true;
}

CacheManager::~CacheManager() = default;

bool CacheManager::MakeEADir(const std::string& target) {
    std::string directory;
    return ea::DirectoryOf(target, directory) &&
           ea::EnsureDirectory(directory, {kSource, __LINE__, "ifrunas failed"}) ==
               ea::Presence::kThere;
}

bool CacheManager::GetEAPath(const std::string& target, const std::string& stream,
                             std::string& path) {
    std::string found;
    if (!MakeEADir(target) || ea::StreamOf(target, stream, found) != 0) {
        return false;
    }
    path = found;
    return true;
}

bool CacheManager::IsTargetModified(const std::string& target) {
    struct stat status {};
    if (!StatAsRoot(target, status)) {
        return false;
    }
    std::vector<Row> rows;
    if (!_db.QueryResult(cache::RecordedModification(target), rows) || rows.size() != 1) {
        return false;  // a document that the index does not know is not modified
    }
    return rows.front()["modify"] != std::to_string(status.st_mtime);
}

void CacheManager::CleanCacheInEADir(const std::string& target) {
    std::vector<Row> rows;
    if (!_db.QueryResult(cache::ListStreams(target), rows)) {
        return;
    }
    for (Row& row : rows) {
        std::string path;
        if (GetEAPath(target, row["stream"], path)) {
            RemoveFileAsRoot(path);
        }
    }
}

void CacheManager::CleanCacheInDB(const std::string& target) {
    if (!_db.ExecTransaction(cache::ForgetTarget(target))) {
        log::Plain(kSource, __LINE__, "cache remove DB fail %s", target.c_str());
    }
}

void CacheManager::CleanCache(const std::string& target) {
    // The files first, because the index tells their names.
    CleanCacheInEADir(target);
    CleanCacheInDB(target);
}

bool CacheManager::Remove(const std::string& target, const std::string& stream) {
    std::string path;
    if (!GetEAPath(target, stream, path)) {
        return false;
    }
    if (unlink(path.c_str()) != 0) {
        log::Plain(kSource, __LINE__, "cache remove fail %s", path.c_str());
    }
    if (!_db.ExecTransaction(cache::ForgetStream(target, stream))) {
        log::Plain(kSource, __LINE__, "cache remove DB fail %s, stream: %s", target.c_str(),
                   stream.c_str());
    }
    return true;
}

bool CacheManager::Set(const std::string& source, const std::string& target,
                       const std::string& stream, bool move) {
    return Store(source, target, stream, move, "");
}

bool SetIn(CacheManager& cache, const std::string& directory, const std::string& source,
           const std::string& target, const std::string& stream, bool move) {
    return !directory.empty() && cache.Store(source, target, stream, move, directory);
}

// `directory`: in which the stream must lie; "" for any.
bool CacheManager::Store(const std::string& source, const std::string& target,
                         const std::string& stream, bool move, const std::string& directory) {
    struct stat product {};
    struct stat document {};
    std::string path;
    if (!Stat(source, product) || !Stat(target, document) || !GetEAPath(target, stream, path)) {
        return false;
    }
    if (!directory.empty() && path != directory + '/' + stream) {
        return false;
    }
    if (IsTargetModified(target)) {
        CleanCache(target);
    }
    // The index outlives a power cut, so the product's content must be on the disk before its name:
    // else an empty file would be served. The conversion has succeeded, even if its product cannot
    // be stored.
    if (!vellumo::support::SyncContent(source) || !MoveOrCopyFile(source, path, move)) {
        log::Plain(kSource, __LINE__, "cache move fail from: %s, to: %s", source.c_str(),
                   path.c_str());
    }
    if (!InsertDB(target, document.st_mtime, stream, product.st_size)) {
        log::Plain(kSource, __LINE__, "cache set insert DB fail %s, stream: %s", target.c_str(),
                   stream.c_str());
    }
    if (autoCollect) {
        GarbageCollect();
        _db.Exec("VACUUM");
    }
    return true;
}

bool CacheManager::Get(const std::string& target, const std::string& stream, std::ifstream& in) {
    if (IsTargetModified(target)) {
        CleanCache(target);
    }
    std::string path;
    if (!GetEAPath(target, stream, path)) {
        return false;
    }
    UpdateCache(target, stream);
    const RunAsRoot root(kSource, __LINE__);
    if (!root) {
        log::Error(kSource, __LINE__, "ifrunas failed");
        return false;
    }
    OpenStream(path, in);
    return in.good();
}

bool CacheManager::InsertDB(const std::string& target, long modify, const std::string& stream,
                            long size) {
    return InsertTarget(target, modify) && InsertCache(target, stream, size);
}

bool CacheManager::InsertTarget(const std::string& target, long modify) {
    return _db.ExecTransaction(cache::RegisterTarget(target, modify));
}

bool CacheManager::InsertCache(const std::string& target, const std::string& stream, long size) {
    return _db.ExecTransaction(cache::RegisterStream(target, stream, size, Now()));
}

bool CacheManager::UpdateCache(const std::string& target, const std::string& stream) {
    return _db.ExecTransaction(cache::Touch(target, stream, Now()));
}

}  // namespace NAVO::VELLUMO

// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <sstream>

#include "cache/Statements.h"
#include "common/Log.h"
#include "vellumo/CacheManager.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "CacheManager";

}  // namespace

int64_t CacheManager::CalculateGCSize() {
    std::vector<Row> rows;
    if (!_db.QueryResult(cache::kTotalSize, rows)) {
        log::Plain(kSource, __LINE__, "calculate GC size fail");
        return 0;
    }
    if (rows.size() != 1) {
        return 0;
    }
    int64_t total = 0;  // stays 0 for an empty table, whose sum is NULL
    std::istringstream(rows.front()["SUM(size)"]) >> total;
    return sizeLimit <= total ? total - sizeLimit : 0;
}

void CacheManager::GarbageCollect() {
    const int64_t excess = CalculateGCSize();
    if (excess == 0) {
        return;
    }
    std::vector<Row> rows;
    if (!_db.QueryResult(cache::kByAccess, rows)) {
        return;
    }
    // The string stream keeps its end-of-file state, so only the first row's size is read and every
    // row counts with that size. If sizes differ, a run stops too early or too late, and the next
    // run corrects that.
    std::stringstream sizeText;
    int64_t size = 0;
    int64_t freed = 0;
    for (Row& row : rows) {
        sizeText.str(row["size"]);
        sizeText >> size;
        if (!RemoveCollected(row["target"], row["stream"])) {
            continue;
        }
        freed += size;
        if (freed > excess) {
            break;
        }
    }
    if (!_db.ExecTransaction(cache::kForgetUnreferencedTargets)) {
        log::Plain(kSource, __LINE__, "GC UnRef fail");
    }
}

bool CacheManager::RemoveCollected(const std::string& target, const std::string& stream) {
    std::string path;
    if (!GetEAPath(target, stream, path)) {
        return false;
    }
    if (unlink(path.c_str()) != 0) {
        log::Plain(kSource, __LINE__, "GC fail %s", path.c_str());
    }
    if (!_db.ExecTransaction(cache::ForgetStream(target, stream))) {
        log::Plain(kSource, __LINE__, "GC DB fail %s, stream: %s", target.c_str(), stream.c_str());
    }
    return true;
}

}  // namespace NAVO::VELLUMO

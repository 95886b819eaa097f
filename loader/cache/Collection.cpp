// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/Collection.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <utility>
#include <vector>

#include "loader/Problem.h"
#include "loader/cache/CacheIndex.h"
#include "loader/cache/Volumes.h"
#include "loader/documents/Document.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

constexpr const char* kTree = "/@navoea";
constexpr size_t kBatch = 100;  // streams in one transaction
constexpr size_t kMostStored = 200;
constexpr int64_t kParts = 16;
constexpr int64_t kPercent = 100;

std::vector<std::string> FoldersWithProducts() {
    std::vector<std::string> folders = FoldersOfProducts();
    std::erase_if(folders, [](const std::string& folder) {
        return access((folder + kTree).c_str(), F_OK) != 0;
    });
    return folders.empty() ? FoldersOfProducts() : folders;
}

// The size of their file systems together; one with several of the folders counts once.
int64_t SizeOf(const std::vector<std::string>& folders) {
    std::set<dev_t> counted;
    int64_t bytes = 0;
    for (const std::string& folder : folders) {
        struct stat status {};
        struct statvfs space {};
        if (stat(folder.c_str(), &status) == 0 && statvfs(folder.c_str(), &space) == 0 &&
            counted.insert(status.st_dev).second) {
            bytes += static_cast<int64_t>(space.f_blocks * space.f_frsize);
        }
    }
    return bytes;
}

// The oldest streams that take `excess` bytes or a little more.
std::vector<IndexedStream> FirstOf(std::vector<IndexedStream> streams, int64_t excess) {
    size_t count = 0;
    while (count < streams.size() && excess > 0) {
        excess -= streams[count].size;
        ++count;
    }
    streams.resize(count);
    return streams;
}

// A file that is gone already, or whose document is, costs nothing: its entry no longer counts. One
// that cannot be removed keeps its entry.
void RemoveFiles(const std::vector<IndexedStream>& streams, const std::string& what) {
    for (const IndexedStream& stream : streams) {
        const std::string path =
            StreamPath({"", "", stream.target, "", nullptr, ""}, stream.stream);
        if (unlink(path.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR) {
            const std::string why = path + ": " + std::strerror(errno);
            throw Failure({Reason::kNowhereToKeep, what, why, "Check the volume."});
        }
    }
}

[[noreturn]] void FailToForget(const std::string& what) {
    throw Failure({Reason::kIndexUnreadable, what,
                   std::string("the index of the cache, ") + NAVO::VELLUMO::SZF_CACHE_DB_PATH +
                       ", cannot be changed",
                   "The system log has the reason: journalctl -t vellumo."});
}

}  // namespace

std::optional<int64_t> LimitOf(const Settings& settings) {
    if (settings.IsRefused(Setting::kCacheLimit)) {
        return std::nullopt;
    }
    const SizeOrShare limit = settings.Limit(Setting::kCacheLimit);
    if (limit.percent == 0) {
        return limit.bytes;
    }
    const int64_t size = SizeOf(FoldersWithProducts());
    return size > 0 ? std::optional(size / kPercent * limit.percent) : std::nullopt;
}

// The files go first: an entry without a file is found again, a file without an entry is not.
Collected CollectDownTo(int64_t limit, const std::string& what) {
    CacheIndex index(what);
    Collected collected;
    std::string last;
    while (true) {
        CacheIndex::Oldest oldest = index.OldestStreams(kBatch);
        const auto streams = FirstOf(std::move(oldest.streams), oldest.allBytes - limit);
        if (streams.empty()) {
            return collected;
        }
        // An entry that another program has made and that no statement removes must not keep this
        // loop going.
        const std::string back = streams.back().target + '\n' + streams.back().stream;
        const bool isStuck = back == std::exchange(last, back);
        RemoveFiles(streams, what);
        if (!index.Forget(streams) || isStuck) {
            FailToForget(what);
        }
        for (const IndexedStream& stream : streams) {
            collected.bytes += stream.size;
        }
        collected.streams += streams.size();
    }
}

void BulkCollection::NoteStored(int64_t bytes) {
    ++_storedStreams;
    _storedBytes += bytes;
    if (_storedStreams >= kMostStored || (_limit && _storedBytes >= *_limit / kParts)) {
        Finish();
    }
}

void BulkCollection::Finish() {
    const bool isAnyStored = _storedStreams > 0;
    _storedStreams = 0;
    _storedBytes = 0;
    if (isAnyStored && _limit) {
        CollectDownTo(*_limit, "cannot keep the cache within its limit");
    }
}

}  // namespace vellumo::loader

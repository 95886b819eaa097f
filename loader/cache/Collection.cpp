// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/Collection.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

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

std::vector<std::string> VolumesWithProducts() {
    std::vector<std::string> volumes = Volumes();
    std::erase_if(volumes, [](const std::string& volume) {
        return access((volume + kTree).c_str(), F_OK) != 0;
    });
    return volumes.empty() ? Volumes() : volumes;
}

// The size of all volumes together; a file system that is mounted twice counts once.
int64_t SizeOf(const std::vector<std::string>& volumes) {
    std::set<dev_t> counted;
    int64_t bytes = 0;
    for (const std::string& volume : volumes) {
        struct stat status {};
        struct statvfs space {};
        if (stat(volume.c_str(), &status) == 0 && statvfs(volume.c_str(), &space) == 0 &&
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

// A file that is gone already, or whose document is, costs nothing: its entry no longer counts.
void RemoveFiles(const std::vector<IndexedStream>& streams) {
    for (const IndexedStream& stream : streams) {
        const Document document{"", "", stream.target, "", nullptr, ""};
        unlink(StreamPath(document, stream.stream).c_str());
    }
}

[[noreturn]] void FailToForget(const std::string& what) {
    throw Failure({Reason::kIndexUnreadable, what,
                   std::string("the index of the cache, ") + NAVO::VELLUMO::SZF_CACHE_DB_PATH +
                       ", cannot be changed",
                   "The system log has the reason: journalctl -t vellumo."});
}

}  // namespace

int64_t BytesOf(const SizeOrShare& limit) {
    if (limit.percent == 0) {
        return limit.bytes;
    }
    return SizeOf(VolumesWithProducts()) / kPercent * limit.percent;
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
        RemoveFiles(streams);
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
    if (_storedStreams >= kMostStored || _storedBytes >= _limit / kParts) {
        Finish();
    }
}

void BulkCollection::Finish() {
    if (_storedStreams > 0) {
        _storedStreams = 0;
        _storedBytes = 0;
        CollectDownTo(_limit, "cannot keep the cache within its limit");
    }
}

}  // namespace vellumo::loader

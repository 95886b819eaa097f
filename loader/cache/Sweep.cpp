// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/Sweep.h"

#include <fcntl.h>
#include <navo/ea.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <functional>
#include <vector>

#include "loader/cache/CacheIndex.h"
#include "loader/cache/OldFolders.h"
#include "loader/cache/Volumes.h"
#include "loader/documents/Document.h"
#include "loader/pool/PoolState.h"
#include "support/Directory.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;
using support::Descriptor;
using support::NamesIn;
using support::OpenDirectory;

constexpr const char* kWhat = "cannot sweep";
constexpr int kLockSecs = 5;

struct KindName {
    Leftover::Kind kind;
    const char* name;
};
constexpr KindName kNames[] = {{Leftover::Kind::kProducts, "products"},
                               {Leftover::Kind::kIndexEntry, "index-entry"},
                               {Leftover::Kind::kScratch, "scratch"},
                               {Leftover::Kind::kOldFolder, "old-folder"},
                               {Leftover::Kind::kFailure, "failure"}};

class Sweeper {
public:
    Sweeper(bool isDryRun, SweepWatch& watch) : _isDryRun(isDryRun), _watch(watch) {}

    // Reports the leftover, and removes it first with `remove`, which returns false, with errno, on
    // failure. Returns false when the sweep must end.
    bool Take(const Leftover& leftover, const std::function<bool()>& remove) const {
        if (_watch.Spares(leftover)) {
            return !_watch.WantsEnd();
        }
        const bool done = _isDryRun || remove();
        _watch.Finds(leftover, done ? "" : std::strerror(errno));
        return !_watch.WantsEnd();
    }

    SweepWatch& Watch() const { return _watch; }

private:
    bool _isDryRun;
    SweepWatch& _watch;
};

int64_t SizeOfFiles(const std::string& directory) {
    int64_t bytes = 0;
    const Descriptor opened = OpenDirectory(directory);
    for (const std::string& name : NamesIn(opened)) {
        struct stat status {};
        const bool isThere = fstatat(opened.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
        bytes += isThere ? status.st_size : 0;
    }
    return bytes;
}

int VisitProducts(const NAVOEAENTRY* entry, void* sweeper) {
    if (entry->hasFile != FALSE) {
        return 0;
    }
    const std::string directory = entry->szDirectory;
    const bool goesOn = static_cast<const Sweeper*>(sweeper)->Take(
        {Leftover::Kind::kProducts, directory, SizeOfFiles(directory)},
        [&] { return NAVOEARMDir(1, directory.c_str()) == 0; });
    return goesOn ? 0 : 1;
}

bool Exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

void SweepIndex(const Sweeper& sweeper) {
    CacheIndex index(kWhat);
    for (const IndexedStream& stream : index.Streams("")) {
        const Document document{"", "", stream.target, "", nullptr, ""};
        if (Exists(StreamPath(document, stream.stream))) {
            continue;
        }
        if (!sweeper.Take({Leftover::Kind::kIndexEntry, stream.target, 0},
                          [&] { return index.Forget(stream); })) {
            return;
        }
    }
}

// Whether a job that waits or runs names the scratch file.
bool IsNamed(const PoolState& pool, const std::string& name) {
    const auto names = [&](const std::string& job) { return job.find(name) != std::string::npos; };
    const auto anyNames = [&](const std::vector<std::string>& jobs) {
        return std::any_of(jobs.begin(), jobs.end(), names);
    };
    return anyNames(pool.running) ||
           std::any_of(pool.waiting.begin(), pool.waiting.end(), anyNames);
}

// The part of a scratch file's name that a product has in common with its source.
std::string Stem(const std::string& name) {
    return name.substr(0, name.find('.', 1));
}

void SweepScratch(const Sweeper& sweeper, const std::string& path, int64_t age) {
    sweeper.Watch().Enters(path);
    const Descriptor directory = OpenDirectory(path);
    const PoolState pool = ReadPool(kWhat, kLockSecs);
    for (const std::string& name : NamesIn(directory)) {
        struct stat status {};
        const bool isOld =
            fstatat(directory.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            !S_ISDIR(status.st_mode) && std::time(nullptr) - status.st_ctime > age;
        if (!isOld || IsNamed(pool, Stem(name))) {
            continue;
        }
        if (!sweeper.Take({Leftover::Kind::kScratch, path + name, status.st_size},
                          [&] { return unlinkat(directory.Get(), name.c_str(), 0) == 0; })) {
            return;
        }
    }
}

void SweepScratchFolders(const Sweeper& sweeper, int64_t age) {
    std::string volume;
    if (!core::VolumePathGet(core::SZF_DOCKER_DIR, volume)) {
        return;  // without the share there are no scratch files
    }
    for (const char* folder : {core::SZF_COVERT_SOURCE_DIR, core::SZF_COVERT_TARGET_DIR}) {
        SweepScratch(sweeper, volume + core::SZF_DOCKER_DIR + folder, age);
    }
}

void SweepVolume(const Sweeper& sweeper, const std::string& volume) {
    sweeper.Watch().Enters(volume);
    FindOldFolders(
        volume,
        [&](const OldFolder& folder) {
            return sweeper.Take(
                {Leftover::Kind::kOldFolder, volume + '/' + folder.path, folder.bytes},
                [&] { return RemoveOldFolder(volume, folder); });
        },
        [&] { return !sweeper.Watch().WantsEnd(); });
}

}  // namespace

const char* NameOf(Leftover::Kind kind) {
    return std::find_if(std::begin(kNames), std::end(kNames),
                        [&](const KindName& entry) { return entry.kind == kind; })
        ->name;
}

void Sweep(bool isDryRun, int64_t scratchAge, SweepWatch& watch) {
    Sweeper sweeper(isDryRun, watch);
    watch.Enters("the kept products");
    NAVOEAWalk(VisitProducts, &sweeper);
    if (!watch.WantsEnd()) {
        watch.Enters("the index");
        SweepIndex(sweeper);
    }
    if (!watch.WantsEnd()) {
        SweepScratchFolders(sweeper, scratchAge);
    }
    for (const std::string& volume : Volumes()) {
        if (!watch.WantsEnd()) {
            SweepVolume(sweeper, volume);
        }
    }
}

}  // namespace vellumo::loader

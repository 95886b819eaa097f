// SPDX-License-Identifier: Apache-2.0
// A process of the package, for tests of several:
//   pool_worker jobs NAME COUNT   says "ready"; when SIGUSR1 comes, runs COUNT jobs of changing
//                                 priority through the pool
//   pool_worker count NAME COUNT  says "ready"; when SIGUSR1 comes, raises the member NAME of the
//                                 state file COUNT times
//   pool_worker hold read|write   takes the state file's lock, says so, and keeps it for ever
//   pool_worker lock read|write   takes it for a moment; says "waiting" when it must wait for it;
//                                 exit status 0 when it was had, 1 when not
//   pool_worker pdf DOCUMENT      converts it into the cache; says "waiting" when it waits for who
//                                 does it already; exit status 0 when that returned 1000
//   pool_worker thumbnail DOCUMENT  likewise, without waiting
//   pool_worker bulk DOCUMENT     like pdf, without the automatic collection
//   pool_worker collect LIMIT     removes the oldest PDFs, as programs do that store without it
//   pool_worker booted DOCUMENT   like pdf, on a server that has just started
//   pool_worker store NAME SECONDS  stores a stream of each of the new documents NAME0, NAME1, …
//                                 with the collection on; says "waiting" when it waits for the
//                                 index; exit status 1 when one is not taken
//   pool_worker read NAME SECONDS  reads the streams of these, as far as there are documents, over
//                                 and over; exit status 1 when one is served that is not whole, 2
//                                 when none is served
//   pool_worker index             holds the cache index write-locked, says so, for ever
//   pool_worker child             takes the write lock, starts a command that outlives it, ends
#include <dlfcn.h>
#include <fcntl.h>
#include <navo/exec.h>
#include <navo/lock.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>

#include "Announcement.h"
#include "loader/cache/Collection.h"
#include "vellumo/BaseDB.h"
#include "vellumo/CacheManager.h"
#include "vellumo/ConfigManager.h"
#include "vellumo/Constants.h"
#include "vellumo/ContainerPoolManager.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using vellumo::test::Announce;
using vellumo::test::AnnounceAndWait;

namespace {

using Pool = ContainerPoolManager;

bool tracing = false;
bool booted = false;

// What this process says that it waits for, once.
enum class Obstacle { kNone, kLock, kConversion, kIndex };
Obstacle announced = Obstacle::kNone;

void WaitsFor(Obstacle obstacle) {
    if (announced == obstacle) {
        announced = Obstacle::kNone;
        Announce("waiting");
    }
}

// Appends the state file, one line a version, to the history of all processes. Called while its
// lock is held, so that the versions stand in the order in which they were true.
void TraceState() {
    std::ifstream state(SZF_CONFIG_PATH);
    std::string line(std::istreambuf_iterator<char>(state), {});
    line += '\n';
    const int trace =
        open("/device/state-history", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (write(trace, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        _exit(99);
    }
    close(trace);
}

int RunJobs(const std::string& name, int count) {
    AnnounceAndWait("ready");
    tracing = true;
    Pool* pool = Pool::Instance(MAX_USING_COUNT, MAX_MEMORY_COUNT, PARALLEL_COUNT);
    for (int i = 0; i < count; ++i) {
        const auto priority = static_cast<Pool::Priority>(i % 3);
        const std::string key =
            "p" + std::to_string(priority) + "-" + name + "-" + std::to_string(i);
        if (pool->Execute({"job-", key}, priority) != 1000) {
            return 1;
        }
    }
    return 0;
}

int Count(const std::string& name, int count) {
    AnnounceAndWait("ready");
    ConfigManager state(SZF_CONFIG_PATH, 60);
    for (int i = 0; i < count; ++i) {
        const ConfigWriter writer(state);
        state.config[name] = state.config[name].asInt() + 1;
        state.config["total"] = state.config["total"].asInt() + 1;
    }
    return 0;
}

bool Lock(ConfigManager& state, const std::string& mode) {
    return mode == "write" ? state.LockW() : state.LockR();
}

int Hold(const std::string& mode) {
    ConfigManager state(SZF_CONFIG_PATH, LOCK_TIMEOUT_SECS);
    if (!Lock(state, mode)) {
        return 1;
    }
    Announce("held");
    pause();
    return 0;
}

int TryLock(const std::string& mode) {
    announced = Obstacle::kLock;
    ConfigManager state(SZF_CONFIG_PATH, LOCK_TIMEOUT_SECS);
    return Lock(state, mode) ? 0 : 1;
}

int Make(const std::string& document, int (*service)(const path::Path&)) {
    announced = Obstacle::kConversion;
    path::Path source;
    source.SetData("realPath", document, true);
    return service(source) == 1000 ? 0 : 1;
}

const std::string kStream(100, 'x');

// No document is stored twice: one that is collected while it is stored anew may keep its stream
// without a row, and nothing could then be said of rows and streams.
int Store(const std::string& name, int seconds) {
    announced = Obstacle::kIndex;
    const std::time_t end = std::time(nullptr) + seconds;
    for (int i = 0; std::time(nullptr) < end; ++i) {
        const std::string document = "/volume1/docs/" + name + std::to_string(i);
        const std::string product = document + ".product";
        std::ofstream(product) << kStream;
        std::ofstream(document) << "document";
        CacheManager cache(true, 8000);
        if (!cache.opened || !cache.Set(product, document, SZK_THUMB_PDF_TYPE, true)) {
            return 1;
        }
    }
    return 0;
}

int Read(const std::string& name, int seconds) {
    const std::time_t end = std::time(nullptr) + seconds;
    int served = 0;
    for (int i = 0; std::time(nullptr) < end; ++i) {
        const std::string document = "/volume1/docs/" + name + std::to_string(i);
        if (access(document.c_str(), F_OK) != 0) {
            i = std::max(-1, i - 25);  // most streams before that are collected already
            continue;
        }
        CacheManager cache(true, 8000);
        std::ifstream in;
        if (!cache.opened || !cache.Get(document, SZK_THUMB_PDF_TYPE, in)) {
            continue;
        }
        ++served;
        if (std::string(std::istreambuf_iterator<char>(in), {}) != kStream) {
            return 1;
        }
    }
    return served > 0 ? 0 : 2;
}

int HoldIndex() {
    BaseDB index;
    index.path = SZF_CACHE_DB_PATH;
    if (!index.Open() || !index.Exec("BEGIN IMMEDIATE;")) {
        return 1;
    }
    Announce("held");
    pause();
    return 0;
}

int LeaveChild() {
    ConfigManager state(SZF_CONFIG_PATH, LOCK_TIMEOUT_SECS);
    char program[] = "/bin/sleep";
    char seconds[] = "30";
    char* argv[] = {program, seconds, nullptr};
    if (!state.LockW() || NLIBCExecv(program, argv, 0) != 0) {
        return 1;
    }
    _exit(0);  // without giving the lock back: only a descriptor in the child could still hold it
}

}  // namespace

// Stands before the platform's own, to see every version of the state file under its lock.
__attribute__((visibility("default"))) int NLIBCFileUnlockByFile(int descriptor) {
    if (tracing) {
        TraceState();
    }
    using Unlock = int (*)(int);
    return reinterpret_cast<Unlock>(dlsym(RTLD_NEXT, "_Z21NLIBCFileUnlockByFilei"))(descriptor);
}

// These stand before the C library's own.
extern "C" {

// NOLINTBEGIN(readability-identifier-naming,readability-inconsistent-declaration-parameter-name)
__attribute__((visibility("default"))) int flock(int file, int operation) noexcept {
    const int result = static_cast<int>(syscall(SYS_flock, file, operation));
    if (result != 0 && errno == EWOULDBLOCK) {
        WaitsFor(Obstacle::kLock);
        errno = EWOULDBLOCK;
    }
    return result;
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (booted && clock == CLOCK_BOOTTIME) {
        *time = {};
    }
    return result;
}

__attribute__((visibility("default"))) int usleep(useconds_t duration) {
    if (duration == static_cast<useconds_t>(USLEEP_TIME)) {
        WaitsFor(Obstacle::kConversion);
    }
    const timespec time{duration / 1000000, static_cast<long>(duration % 1000000) * 1000};
    return static_cast<int>(syscall(SYS_nanosleep, &time, nullptr));
}

__attribute__((visibility("default"))) int nanosleep(const timespec* duration, timespec* left) {
    if (duration->tv_nsec == 500000000) {  // between two tries to begin a transaction
        WaitsFor(Obstacle::kIndex);
    }
    return static_cast<int>(syscall(SYS_nanosleep, duration, left));
}
// NOLINTEND(readability-identifier-naming,readability-inconsistent-declaration-parameter-name)
}

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    const std::string name = argc > 2 ? argv[2] : "";
    const int count = argc > 3 ? std::atoi(argv[3]) : 0;
    if (command == "jobs") {
        return RunJobs(name, count);
    }
    if (command == "count") {
        return Count(name, count);
    }
    if (command == "hold") {
        return Hold(name);
    }
    if (command == "lock") {
        return TryLock(name);
    }
    booted = command == "booted";
    if (command == "pdf" || booted) {
        return Make(name, converter::ToPDFCache);
    }
    if (command == "bulk") {
        return Make(name, converter::ToPDFCacheWithoutCollection);
    }
    if (command == "collect") {
        vellumo::loader::CollectDownTo(std::atoi(name.c_str()), "cannot collect");
        return 0;
    }
    if (command == "thumbnail") {
        return Make(name, converter::ToThumbnail);
    }
    if (command == "store") {
        return Store(name, count);
    }
    if (command == "read") {
        return Read(name, count);
    }
    if (command == "index") {
        return HoldIndex();
    }
    return command == "child" ? LeaveChild() : 2;
}

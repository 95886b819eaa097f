// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <navo/lock.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "fail.h"
#include "parameters.h"
#include "support/Directory.h"
#include "support/PrivateFile.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::LiesAt;
using vellumo::support::Uninterrupted;

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Pauses between attempts. Most locks are held for about a millisecond. For a lock held longer,
// users do not notice a delay of 20 milliseconds, and 50 attempts a second cost almost nothing.
constexpr milliseconds kFirstPause{1};
constexpr milliseconds kLongestPause{20};

// Whoever may open a file may also lock it. A file of an administrator's may be readable for a
// group; other users are shut out.
constexpr mode_t kNewFileMode = 0600;
constexpr mode_t kForbidden = S_IRWXO;

enum class Attempt { Taken, Busy, Failed };

// A shared lock needs only permission to read. An exclusive lock also needs permission to write,
// and does not fall back to a descriptor for reading. A process that may not change the file has no
// reason to exclude all others, and learns this before its work and not when it saves. Network file
// systems also demand a descriptor for writing.
Descriptor Open(const char* path, bool exclusive) {
    const int flags =
        (exclusive ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;  // pipes would block
    const int descriptor = Uninterrupted([=] { return open(path, flags); });
    if (descriptor >= 0 || errno != ENOENT) {
        return Descriptor(descriptor);
    }
    // Only now O_CREAT: in a sticky directory that all users may write to, the kernel refuses
    // O_CREAT on an existing file of another user. O_NOFOLLOW: a link could create the file
    // anywhere.
    const int creating = flags | O_CREAT | O_NOFOLLOW;
    return Descriptor(Uninterrupted([=] { return open(path, creating, kNewFileMode); }));
}

// Opens the file anew, so that each attempt is for the file that is at `path` now.
Attempt Try(const char* path, bool exclusive, Descriptor& holder) {
    holder = Open(path, exclusive);
    if (!holder) {
        Fail(NAVO_ERR_OPEN_FAILED);
        return Attempt::Failed;
    }
    // A failure here is none of the lock: a file system without modes cannot shut anybody out.
    static_cast<void>(vellumo::support::RemovePermissions(holder, kForbidden));
    if (flock(holder.Get(), (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK || errno == EINTR) {
            return Attempt::Busy;
        }
        Fail(NAVO_ERR_LOCK_FAILED);
        return Attempt::Failed;
    }
    // If the file has been replaced between opening and locking, this lock protects nothing.
    return LiesAt(holder, path) ? Attempt::Taken : Attempt::Busy;
}

Attempt TryUntil(Clock::time_point deadline, const char* path, bool exclusive, Descriptor& holder) {
    for (Clock::duration pause = kFirstPause;; pause *= 2) {
        const Attempt attempt = Try(path, exclusive, holder);
        if (attempt != Attempt::Busy) {
            return attempt;
        }
        const auto left = deadline - Clock::now();
        if (left <= Clock::duration::zero()) {
            return Attempt::Busy;
        }
        pause = std::min<Clock::duration>(pause, kLongestPause);
        std::this_thread::sleep_for(std::min(pause, left));
    }
}

}  // namespace
}  // namespace NAVO::platform

int NLIBCFileLockTimeByFile(const char* path, int exclusive, int timeoutSecs, int* descriptor) {
    using NAVO::platform::Attempt;
    const NAVO::platform::SuccessKeepsErrno success;
    if (NAVO::platform::IsEmpty(path) || descriptor == nullptr) {
        NAVO::platform::Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
        return 0;
    }
    const auto deadline =
        NAVO::platform::Clock::now() + std::chrono::seconds(std::max(timeoutSecs, 0));
    vellumo::support::Descriptor holder;
    const Attempt attempt = NAVO::platform::TryUntil(deadline, path, exclusive != 0, holder);
    if (attempt == Attempt::Taken) {
        *descriptor = holder.Release();
        return 1;
    }
    if (attempt == Attempt::Busy) {
        NAVO::platform::Fail(NAVO_ERR_LOCK_TIMEOUT, EAGAIN);
    }
    return 0;
}

int NLIBCFileUnlockByFile(int descriptor) {
    // Closing is not enough: a forked child of this process shares the lock and would keep it.
    if (flock(descriptor, LOCK_UN) != 0) {
        return NAVO::platform::Fail(NAVO_ERR_LOCK_FAILED);
    }
    const vellumo::support::Descriptor closed(descriptor);
    return 0;
}

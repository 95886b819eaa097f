// SPDX-License-Identifier: Apache-2.0
#include "LockCalls.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace navo::test {

LockCalls lockCalls;

}  // namespace navo::test

using navo::test::lockCalls;

// They stand before the C library's own, and so are what libnavo calls.
extern "C" {

// NOLINTBEGIN(readability-identifier-naming,readability-inconsistent-declaration-parameter-name)
__attribute__((visibility("default"))) int flock(int descriptor, int operation) {
    ++lockCalls.tries;
    if (const auto action = std::exchange(lockCalls.beforeTry, nullptr)) {
        action();
    }
    return static_cast<int>(syscall(SYS_flock, descriptor, operation));
}

__attribute__((visibility("default"))) int nanosleep(const timespec* duration, timespec* left) {
    const auto asked =
        std::chrono::seconds(duration->tv_sec) + std::chrono::nanoseconds(duration->tv_nsec);
    lockCalls.longestPause = std::max<std::chrono::nanoseconds>(lockCalls.longestPause, asked);
    ++lockCalls.pauses;
    if (lockCalls.onPause) {
        lockCalls.onPause(lockCalls.pauses);
    }
    return static_cast<int>(syscall(SYS_nanosleep, duration, left));
}
// NOLINTEND(readability-identifier-naming,readability-inconsistent-declaration-parameter-name)
}

// SPDX-License-Identifier: Apache-2.0
#include "BeforeLocking.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <utility>

namespace navo::test {

std::function<void()> beforeLocking;

}  // namespace navo::test

// Stands before the C library's own, and so is what libnavo calls.
// NOLINTNEXTLINE(readability-identifier-naming): the C library's name
extern "C" __attribute__((visibility("default"))) int flock(int descriptor, int operation);

// NOLINTNEXTLINE(readability-identifier-naming)
int flock(int descriptor, int operation) {
    if (const auto action = std::exchange(navo::test::beforeLocking, nullptr)) {
        action();
    }
    return static_cast<int>(syscall(SYS_flock, descriptor, operation));
}

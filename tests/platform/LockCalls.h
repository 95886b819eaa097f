// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_TESTS_LOCKCALLS_H
#define NAVO_TESTS_LOCKCALLS_H

#include <chrono>
#include <functional>

namespace navo::test {

// The system calls of libnavo in this process when it takes a lock: it tries to lock, and pauses
// before the next try. A test can count these calls and run a function at that moment.
struct LockCalls {
    int tries = 0;
    int pauses = 0;
    std::chrono::nanoseconds longestPause{};

    // Called once, after libnavo has opened a file and before it locks the file. Empty after that.
    std::function<void()> beforeTry;
    // Called at each pause; `pause` is 1 for the first.
    std::function<void(int pause)> onPause;
};
extern LockCalls lockCalls;

}  // namespace navo::test

#endif

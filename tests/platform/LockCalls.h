// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_TESTS_LOCKCALLS_H
#define NAVO_TESTS_LOCKCALLS_H

#include <chrono>
#include <functional>

namespace navo::test {

// What libnavo asks of the system in this process when it takes a lock: it tries, and pauses before
// the next try. A test sees it, and can let something happen at that moment.
struct LockCalls {
    int tries = 0;
    int pauses = 0;
    std::chrono::nanoseconds longestPause{};

    // Once, between the moment when libnavo has opened a file and the one when it locks it. Empty
    // when it has happened.
    std::function<void()> beforeTry;
    // At each pause; `pause` is 1 for the first.
    std::function<void(int pause)> onPause;
};
extern LockCalls lockCalls;

}  // namespace navo::test

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_FAILINGMEMORY_H
#define VELLUMO_TESTS_FAILINGMEMORY_H

#include <cstddef>

namespace vellumo::test {

// Makes one allocation of this thread fail with std::bad_alloc while the object lives: of those
// that ask for at least `atLeast` bytes, the one with the number `which`, counted from 0.
class FailingAllocation {
public:
    explicit FailingAllocation(long which, size_t atLeast = 0);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    // Whether there was such an allocation.
    static bool HasFailed();
};

}  // namespace vellumo::test

#endif

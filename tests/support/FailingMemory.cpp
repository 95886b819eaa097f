// SPDX-License-Identifier: Apache-2.0
// Replaces the allocation functions of the whole program, libraries included.
#include "FailingMemory.h"

#include <cstdlib>
#include <new>

namespace {

constexpr long kNone = -1;
thread_local long left = kNone;  // allocations until the one that fails; below 0: none fails
thread_local size_t smallest = 0;
thread_local bool failed = false;

bool FailsNow(size_t size) {
    if (left < 0 || size < smallest) {
        return false;
    }
    failed = left-- == 0;
    return failed;
}

}  // namespace

namespace vellumo::test {

FailingAllocation::FailingAllocation(long which, size_t atLeast) {
    failed = false;
    smallest = atLeast;
    left = which;
}

FailingAllocation::~FailingAllocation() {
    left = kNone;
}

bool FailingAllocation::HasFailed() {
    return failed;
}

}  // namespace vellumo::test

// NOLINTBEGIN(cppcoreguidelines-no-malloc): these are what `new` and `delete` stand on.
void* operator new(size_t size) {
    void* const memory = FailsNow(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, size_t /*size*/) noexcept {
    std::free(memory);
}
// NOLINTEND(cppcoreguidelines-no-malloc)

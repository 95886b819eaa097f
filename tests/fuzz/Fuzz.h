// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_FUZZ_H
#define VELLUMO_TESTS_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Reads the bytes as its program says. The name is libFuzzer's.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace vellumo::test {

// Ends the process, which the fuzzer tells with the bytes that led to it.
inline void Require(bool isTrue, const char* what) {
    if (!isTrue) {
        std::fprintf(stderr, "not true: %s\n", what);
        std::abort();
    }
}

}  // namespace vellumo::test

#endif

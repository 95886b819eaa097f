// SPDX-License-Identifier: Apache-2.0
// Part of a program with sanitizers that runs in a sandbox, where the environment cannot hold their
// options. The search for leaks needs to trace processes, which a sandbox refuses.
const char* __asan_default_options(void);
const char* __asan_default_options(void) {
    return "detect_leaks=0";
}

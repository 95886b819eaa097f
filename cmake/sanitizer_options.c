// SPDX-License-Identifier: Apache-2.0
// Part of a program with sanitizers that runs in a sandbox, where the environment cannot hold their
// options. The search for leaks traces the process at its exit, which a sandbox may refuse. It also
// waits for ever if `timeout` ends the program, because the SIGCONT that follows the SIGTERM takes
// back the tracer's SIGSTOP.
const char* __asan_default_options(void);
const char* __asan_default_options(void) {
    return "detect_leaks=0";
}

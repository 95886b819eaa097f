// SPDX-License-Identifier: Apache-2.0
// The filter of system calls for the tools: it refuses calls that no converter needs and through
// which programs have broken out of sandboxes. The forks of vellumo-office have a stricter one.
#ifndef VELLUMO_CONVERTERS_CALLS_H
#define VELLUMO_CONVERTERS_CALLS_H

#ifdef __cplusplus
extern "C" {
#endif

// Applies the filter to the calling process and all that it starts later; it must have
// PR_SET_NO_NEW_PRIVS. Returns 0, or -1 when the filter cannot be made or applied.
int calls_filter(void);

// Writes the filter to `file` as the kernel's BPF program, for other programs to apply. Returns 0,
// or -1.
int calls_export(int file);

#ifdef __cplusplus
}
#endif

#endif

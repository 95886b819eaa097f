// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_BASE_H
#define NAVO_BASE_H

#include <sys/types.h>

// Marks what libnavo.so exports; everything else in it is hidden.
#define NAVO_API __attribute__((visibility("default")))

// The platform's truth values: TRUE is any value that is not FALSE.
using BOOL = int;
#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// The return value for success of operations that return a code.
inline constexpr int ERR_SUCCESS = 0;

// As a user or group id passed to an operation: do not set the owner (or group).
inline constexpr uid_t UID_ERR = static_cast<uid_t>(-1);

#endif

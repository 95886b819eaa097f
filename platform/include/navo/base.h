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

// What an operation that reports a code answers when all went well.
inline constexpr int ERR_SUCCESS = 0;

// "Leave the owner (or group) as it comes", wherever an operation takes a user or group id.
inline constexpr uid_t UID_ERR = static_cast<uid_t>(-1);

#endif

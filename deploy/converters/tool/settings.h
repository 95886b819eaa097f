// SPDX-License-Identifier: Apache-2.0
// What this program's environment may set; see main.c.
#ifndef VELLUMO_TOOL_SETTINGS_H
#define VELLUMO_TOOL_SETTINGS_H

#include <sys/types.h>

// A variable's value, `otherwise` if it is not set or empty.
const char* setting(const char* variable, const char* otherwise);
long number(const char* variable, long otherwise);

// The user that a variable names; this program's own where there is nobody else to become.
uid_t user(const char* variable);

// The scratch directories, under the names that commands have for them.
const char* source_directory(void);
const char* target_directory(void);

#endif

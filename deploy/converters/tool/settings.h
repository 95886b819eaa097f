// SPDX-License-Identifier: Apache-2.0
// The settings in this program's environment; see main.c.
#ifndef VELLUMO_TOOL_SETTINGS_H
#define VELLUMO_TOOL_SETTINGS_H

#include <sys/types.h>

// The value of an environment variable; `otherwise` if it is unset or empty.
const char* setting(const char* variable, const char* otherwise);
long number(const char* variable, long otherwise);

// The user id in a variable, by default `nobody`; this program's own user if it is not root.
uid_t user(const char* variable);

// The scratch directories, as commands name them.
const char* source_directory(void);
const char* target_directory(void);

#endif

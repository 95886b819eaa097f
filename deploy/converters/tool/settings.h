// SPDX-License-Identifier: Apache-2.0
// The settings in this program's environment; see main.c.
#ifndef VELLUMO_TOOL_SETTINGS_H
#define VELLUMO_TOOL_SETTINGS_H

// The value of an environment variable; `otherwise` if it is unset or empty.
const char* setting(const char* variable, const char* otherwise);
long number(const char* variable, long otherwise);

// The scratch directories, as commands name them.
const char* source_directory(void);
const char* target_directory(void);

#endif

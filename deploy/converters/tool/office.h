// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOL_OFFICE_H
#define VELLUMO_TOOL_OFFICE_H

#include "call.h"

// Has the warm office do it. Returns the exit status, what was made being published; or -1 when
// that is for a cold one: the office is not there or not free, or the command none of its own.
int run_warm(Call* call);

#endif

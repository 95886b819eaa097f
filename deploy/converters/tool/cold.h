// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOL_COLD_H
#define VELLUMO_TOOL_COLD_H

#include "call.h"

// Runs the tool for this call alone, until it ends or a signal ends both, and returns the exit
// status. What a tool that no signal ended has made is published then.
int run_cold(Call* call);

#endif

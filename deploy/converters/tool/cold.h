// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOL_COLD_H
#define VELLUMO_TOOL_COLD_H

#include "call.h"

// Runs the tool in a new room, waits until it ends or until a signal ends both, and returns the
// exit status. Publishes the products unless a signal ended the tool.
int run_cold(Call* call);

#endif

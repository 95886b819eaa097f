// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOL_OFFICE_H
#define VELLUMO_TOOL_OFFICE_H

#include "call.h"

// Lets the warm office run the command and publishes its products. Returns the exit status, or -1
// when the command needs a cold office: the warm one is missing or busy, or does not know the
// command.
int run_warm(Call* call);

#endif

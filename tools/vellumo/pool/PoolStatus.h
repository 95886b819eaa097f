// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLSTATUS_H
#define VELLUMO_TOOLS_POOLSTATUS_H

#include "app/Command.h"

namespace vellumo::cli {

// vellumo pool status: whether each container answers, what runs in it now, and the memory that it
// takes. Prints it, unless `json`. Ends with kPool when a container does not answer or is
// unhealthy.
CommandResult ShowPoolStatus(bool json);

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_POOLSTATUS_H
#define VELLUMO_TOOLS_POOLSTATUS_H

#include "app/Command.h"

namespace vellumo::cli {

// vellumo pool status: shows whether each container answers, what runs in it and how much memory it
// uses. Prints that unless `json`. Ends with kPool if a container does not answer or is unhealthy.
CommandResult ShowPoolStatus(bool json);

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_SERVERCHECKS_H
#define VELLUMO_TOOLS_SERVERCHECKS_H

#include <optional>

#include "pool/Doctor.h"

namespace vellumo::cli {

// The checks around those of the pool. None throws Failure, and none changes anything.

// This process may act as root, without which no other check tells anything.
Finding CheckRootRights();

// The file of the settings, as 'vellumo settings' reads it.
Finding CheckSettings();

// The folder of the state file and the databases is root's, nobody else may enter it, and there is
// space in it.
Finding CheckStateFolder();

// The queue of pending work can be read.
Finding CheckQueue();

// There is room for what the setting cacheLimit allows.
Finding CheckCacheSpace();

// The daemon answers. Blocks for at most 10 seconds.
Finding CheckDaemon();

// What 'vellumo-web --check' says, and whether the service runs. Null where it is not installed.
// Blocks for as long as that program takes, at most a minute.
std::optional<Finding> CheckWebService();

}  // namespace vellumo::cli

#endif

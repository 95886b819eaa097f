// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_WORKERPROCESS_H
#define VELLUMO_DAEMON_WORKERPROCESS_H

#include <sys/types.h>

#include <cstdint>

namespace vellumo::daemon {

// Lets `process`, and all that it starts from now on, have processors and disks only when nobody
// else wants them.
void MakeBackground(pid_t process);

// The resident memory of `process` in bytes; 0 when it has ended.
int64_t MemoryOf(pid_t process);

}  // namespace vellumo::daemon

#endif

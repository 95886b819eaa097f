// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_PIDFILE_H
#define VELLUMO_DAEMON_PIDFILE_H

#include "support/Lease.h"

namespace vellumo::daemon {

// Shows that the daemon runs, and prevents a second one. The process id is in SZF_PIDPATH, which
// every user may read. What prevents a second daemon is a lock on a file that only root can open:
// whoever can open a file can hold a lock on it.
class PidFile {
public:
    // Throws loader::Failure when another daemon runs or the files cannot be written.
    PidFile();
    // Removes the pid file.
    ~PidFile();
    PidFile(const PidFile&) = delete;
    PidFile& operator=(const PidFile&) = delete;

private:
    support::Lease _lease;
};

}  // namespace vellumo::daemon

#endif

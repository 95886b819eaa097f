// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_SIGNALS_H
#define VELLUMO_DAEMON_SIGNALS_H

#include <csignal>

#include "support/Descriptor.h"

namespace vellumo::daemon {

// The signals by which administrators and systemd control the daemon, as something to poll. They
// interrupt nothing: they are blocked while the object lives, also in child processes that it does
// not run other programs in.
class Signals {
public:
    Signals();
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    int WaitOn() const { return _descriptor.Get(); }

    // What has arrived since the last call.
    struct Arrived {
        bool stop = false;    // SIGTERM, SIGINT
        bool reload = false;  // SIGHUP
    };
    Arrived Take();

    // Lets the signals end this process again, for a child process with work of its own.
    static void Restore();

private:
    support::Descriptor _descriptor;
    sigset_t _before{};
};

}  // namespace vellumo::daemon

#endif

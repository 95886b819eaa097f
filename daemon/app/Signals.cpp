// SPDX-License-Identifier: Apache-2.0
#include "app/Signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace vellumo::daemon {
namespace {

sigset_t ControllingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    return signals;
}

}  // namespace

Signals::Signals() {
    const sigset_t signals = ControllingSignals();
    _descriptor = support::Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    // Blocks the signals only if the descriptor can report them; otherwise nothing could stop the
    // daemon.
    sigprocmask(SIG_BLOCK, _descriptor ? &signals : nullptr, &_before);
}

Signals::~Signals() {
    sigprocmask(SIG_SETMASK, &_before, nullptr);
}

Signals::Arrived Signals::Take() {
    Arrived arrived;
    signalfd_siginfo signal{};
    while (read(_descriptor.Get(), &signal, sizeof(signal)) == sizeof(signal)) {
        (signal.ssi_signo == SIGHUP ? arrived.reload : arrived.stop) = true;
    }
    return arrived;
}

void Signals::Restore() {
    const sigset_t signals = ControllingSignals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace vellumo::daemon

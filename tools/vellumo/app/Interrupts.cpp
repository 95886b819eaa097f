// SPDX-License-Identifier: Apache-2.0
#include "app/Interrupts.h"

#include <sys/signalfd.h>

namespace vellumo::cli {
namespace {

bool IsIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t InterruptingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (!IsIgnored(signal)) {
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

}  // namespace

Interrupts::Interrupts() {
    const sigset_t signals = InterruptingSignals();
    _descriptor = support::Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    // Blocks the signals only if the descriptor can report them; otherwise nothing could stop the
    // program.
    sigprocmask(SIG_BLOCK, _descriptor ? &signals : nullptr, &_before);
}

Interrupts::~Interrupts() {
    sigprocmask(SIG_SETMASK, &_before, nullptr);
}

bool Interrupts::Take() {
    signalfd_siginfo signal{};
    bool taken = false;
    while (read(_descriptor.Get(), &signal, sizeof(signal)) == sizeof(signal)) {
        taken = true;
    }
    return taken;
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#include "signals.h"

#include <signal.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

// If `timeout`, the parent, is killed, nothing else would end this program. Without `timeout`, the
// parent is the container engine's starter outside this process namespace (getppid() is 0), which
// may end at any moment.
static void end_with_parent(void) {
    if (getppid() != 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGTERM);
    }
}

int take_signals(void) {
    static const int TAKEN[] = {SIGCHLD, SIGTERM, SIGINT, SIGHUP};
    sigset_t taken;
    (void)sigemptyset(&taken);
    for (size_t i = 0; i < sizeof TAKEN / sizeof *TAKEN; ++i) {
        (void)sigaddset(&taken, TAKEN[i]);
        (void)signal(TAKEN[i], SIG_DFL);  // the parent may have ignored it
    }
    (void)sigprocmask(SIG_BLOCK, &taken, NULL);
    end_with_parent();
    return signalfd(-1, &taken, SFD_CLOEXEC);
}

void give_signals_back(void) {
    sigset_t none;
    (void)sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, NULL);
}

int next_signal(int signals) {
    struct signalfd_siginfo signal;
    return read(signals, &signal, sizeof signal) == sizeof signal ? (int)signal.ssi_signo : 0;
}

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_ANNOUNCEMENT_H
#define VELLUMO_TESTS_ANNOUNCEMENT_H

#include <csignal>
#include <iostream>

// How a worker process tells the test how far it is.
namespace vellumo::test {

inline void Announce(const char* what) {
    std::cout << what << std::endl;
}

// The same, and goes on when the test sends SIGUSR1.
inline void AnnounceAndWait(const char* what) {
    sigset_t wake;
    sigemptyset(&wake);
    sigaddset(&wake, SIGUSR1);
    sigset_t before;
    sigprocmask(SIG_BLOCK, &wake, &before);
    Announce(what);
    int signal = 0;
    sigwait(&wake, &signal);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace vellumo::test

#endif

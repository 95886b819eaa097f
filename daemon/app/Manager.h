// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_MANAGER_H
#define VELLUMO_DAEMON_MANAGER_H

#include <chrono>
#include <string>

namespace vellumo::daemon {

// The service manager that has started the daemon (systemd, Type=notify). Without one, nothing
// happens.
class Manager {
public:
    Manager();

    static void TellReady();
    static void TellReloading();
    static void TellStopping();

    // One line for 'systemctl status'; sent only when it differs from the last one.
    void TellStatus(const std::string& text);

    // Shows that the daemon makes progress. Call it at least once a second, but only while that is
    // true: without it the manager restarts the daemon. Sent when it is due.
    void TellAlive();

private:
    using Clock = std::chrono::steady_clock;

    std::string _status;
    Clock::duration _aliveEvery{};  // zero: the manager does not ask for it
    Clock::time_point _alive;
};

}  // namespace vellumo::daemon

#endif

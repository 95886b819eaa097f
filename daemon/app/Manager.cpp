// SPDX-License-Identifier: Apache-2.0
#include "app/Manager.h"

#include <systemd/sd-daemon.h>

#include <cstdint>
#include <ctime>

namespace vellumo::daemon {
namespace {

void Notify(const std::string& state) {
    sd_notify(0, state.c_str());
}

// The manager compares the time of a reload with its own clock.
std::string MonotonicMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::to_string(int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000);
}

}  // namespace

Manager::Manager() {
    uint64_t limit = 0;
    if (sd_watchdog_enabled(0, &limit) > 0) {
        _aliveEvery = std::chrono::microseconds(limit) / 2;
    }
}

void Manager::TellReady() {
    Notify("READY=1");
}

void Manager::TellReloading() {
    Notify("RELOADING=1\nMONOTONIC_USEC=" + MonotonicMicroseconds());
}

void Manager::TellStopping() {
    Notify("STOPPING=1");
}

void Manager::TellStatus(const std::string& text) {
    if (text != _status) {
        _status = text;
        Notify("STATUS=" + text);
    }
}

void Manager::TellAlive() {
    const auto now = Clock::now();
    if (_aliveEvery != Clock::duration::zero() && now - _alive >= _aliveEvery) {
        _alive = now;
        Notify("WATCHDOG=1");
    }
}

}  // namespace vellumo::daemon

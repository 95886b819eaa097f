// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_PRESSURE_H
#define VELLUMO_DAEMON_PRESSURE_H

#include <optional>
#include <string>

namespace vellumo::daemon {

// How much of the last ten seconds some process had to wait for a resource, in percent, from a file
// in /proc/pressure. Nothing when the kernel does not tell.
std::optional<double> PressureIn(const std::string& file);

// The value of "some avg10" in the text of such a file.
std::optional<double> ReadPressure(const std::string& text);

// The pressures above which background work pauses, in percent; 0: it never does.
struct PressureLimits {
    int cpu = 0;
    int io = 0;
};

// Why background work has to pause, such as "the disks are busy (I/O pressure 57 %)"; "" when it
// need not.
std::string Overload(const PressureLimits& limits);

}  // namespace vellumo::daemon

#endif

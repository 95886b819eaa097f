// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_PULSE_H
#define VELLUMO_OFFICE_PULSE_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>

namespace vellumo::office {

// Bytes of memory that the process has without the programs, which all processes share; 0 when it
// has ended.
size_t MemoryOf(pid_t process);

// Measures how long a process stands still: it waits for something that never happens. A process
// that gets no time on a busy machine does not stand still, because it is ready to run.
class Pulse {
public:
    using Clock = std::chrono::steady_clock;

    explicit Pulse(pid_t process) : _process(process) {}

    // Looks at the process. Returns how long it has stood still.
    Clock::duration Feel();

private:
    pid_t _process;
    uint64_t _time = 0;
    Clock::time_point _since = Clock::now();
};

}  // namespace vellumo::office

#endif

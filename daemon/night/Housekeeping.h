// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_HOUSEKEEPING_H
#define VELLUMO_DAEMON_HOUSEKEEPING_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "support/Descriptor.h"

namespace vellumo::daemon {

// Removes what nobody needs any more, once a day: products and failures of documents that are gone,
// scratch files that a killed process has left, and products beyond the limit of the cache. Works
// in a process of its own, in the background.
class Housekeeping {
public:
    Housekeeping() = default;
    // Ends the process if it runs.
    ~Housekeeping();
    Housekeeping(const Housekeeping&) = delete;
    Housekeeping& operator=(const Housekeeping&) = delete;

    struct Rules {
        std::chrono::minutes at;       // time of day
        std::chrono::seconds goneFor;  // only what has been left for so long is removed
    };

    // Begins when it is time to, and notices the end. Does not block.
    void Step(const Rules& rules, std::chrono::system_clock::time_point now);

    // Asks the process to end.
    void Stop() const;

    bool IsRunning() const { return _process != 0; }

    // How the last one ended, for people; "" before the first one.
    const std::string& LastResult() const { return _result; }

private:
    void Begin(std::chrono::seconds goneFor);
    void Collect();

    pid_t _process = 0;
    support::Descriptor _output;  // what the process reports; readable at its end
    int64_t _lastDay = -1;        // the day of the last one, see IsDue()
    std::string _result;
};

// Whether housekeeping is due: the time of day `at` has come since the last call that returned
// true. The first call only notes the day in `lastDay`, which is -1 before it: after a start, the
// next such time counts. A clock that is set back makes nothing due twice.
bool IsDue(std::chrono::minutes at, std::chrono::system_clock::time_point now, int64_t& lastDay);

}  // namespace vellumo::daemon

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_RATE_H
#define VELLUMO_DAEMON_RATE_H

#include <chrono>
#include <deque>
#include <optional>

namespace vellumo::daemon {

// How many documents are done in a minute, over the last quarter of an hour.
class Rate {
public:
    using Clock = std::chrono::steady_clock;

    void Note(Clock::time_point now);

    double PerMinute(Clock::time_point now);

    // How long `documents` take at this rate; nothing when none was done lately.
    std::optional<std::chrono::seconds> TimeFor(size_t documents, Clock::time_point now);

private:
    void Forget(Clock::time_point now);

    static constexpr auto kSpan = std::chrono::minutes(15);
    // Where so many are done in the span, the older ones are not needed.
    static constexpr size_t kMost = 10'000;

    std::deque<Clock::time_point> _done;
};

}  // namespace vellumo::daemon

#endif

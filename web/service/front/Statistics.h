// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_STATISTICS_H
#define VELLUMO_WEB_FRONT_STATISTICS_H

#include <array>
#include <atomic>
#include <map>
#include <string>
#include <utility>

#include "front/Exchange.h"
#include "support/OpenMetrics.h"

namespace vellumo::web::front {

// How many processes have died, by the role of each. In memory that the front and the process that
// starts all others share, and that only the latter writes.
struct Deaths {
    static constexpr std::array kRoles{"front", "worker",       "converter",
                                       "login", "proxy-reader", "proxy-login"};
    std::array<std::atomic<uint64_t>, kRoles.size()> count{};
};

// Values at the moment of a report.
struct Present {
    size_t connections;
    size_t jobsWaiting;
    size_t jobsRunning;
    uint64_t linesLost;  // of the access log
};

// Counts requests for monitoring. It begins anew with the process that speaks HTTP.
class Statistics {
public:
    void Note(const Exchange& exchange);

    // All metrics as OpenMetrics. `deaths` may be null.
    std::string Text(const Present& present, const Deaths* deaths) const;

private:
    struct Durations : support::Histogram {
        Durations()
            : support::Histogram(
                  {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10, 30}) {}
    };
    std::string RouteOf(const Exchange& exchange) const;

    std::map<std::pair<std::string, int>, uint64_t> _requests;  // by route and status
    std::map<std::string, Durations> _durations;                // by route
    uint64_t _bytes = 0;
    uint64_t _refusedLogins = 0;
};

}  // namespace vellumo::web::front

#endif

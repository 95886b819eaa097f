// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_METRICS_H
#define VELLUMO_DAEMON_METRICS_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "jobs/DocumentJob.h"
#include "support/OpenMetrics.h"

namespace vellumo::daemon {

// A value that goes up and down, told at the moment of the report.
struct Gauge {
    std::string name;   // "vellumo_documents_waiting"
    std::string help;   // one sentence
    std::string label;  // "lane=\"now\"", or ""
    double value;
};

// Counts what the daemon does, for monitoring: OpenMetrics text.
class Metrics {
public:
    void Note(const Step& step);
    void Note(Outcome outcome);

    // All metrics, those of one name together. Gauges of one name follow each other.
    std::string Text(const std::vector<Gauge>& gauges) const;

    // How many documents ended in this way since the daemon's start.
    uint64_t CountOf(Outcome outcome) const { return _documents.at(static_cast<size_t>(outcome)); }

private:
    // Of a histogram: a conversion ends after 120 s at the latest; a wait can be longer.
    struct Histogram : support::Histogram {
        Histogram()
            : support::Histogram({0.1, 0.25, 0.5, 1.0, 2.5, 5.0, 10.0, 30.0, 60.0, 120.0, 600.0}) {}
    };
    static constexpr size_t kOutcomes = 6;
    using Kind = std::tuple<std::string, std::string, std::string>;  // product, tool, outcome

    std::map<Kind, uint64_t> _conversions;
    std::map<std::string, Histogram> _durations;   // by product
    std::map<std::string, Histogram> _waits;       // by product
    std::array<uint64_t, kOutcomes> _documents{};  // by outcome
};

// The outcome's name in status and metrics.
const char* NameOf(Outcome outcome);

}  // namespace vellumo::daemon

#endif

// SPDX-License-Identifier: Apache-2.0
#include "status/Metrics.h"

namespace vellumo::daemon {
namespace {

constexpr std::array kNames{"fresh", "done", "failed", "put-off", "gone", "deferred"};

std::string ProductLabel(const std::string& product) {
    return "product=\"" + product + "\"";
}

}  // namespace

const char* NameOf(Outcome outcome) {
    return kNames.at(static_cast<size_t>(outcome));
}

void Metrics::Note(const Step& step) {
    ++_conversions[{step.product, step.tool, step.outcome}];
    _durations[step.product].Add(step.seconds - step.waited);
    _waits[step.product].Add(step.waited);
}

void Metrics::Note(Outcome outcome) {
    ++_documents.at(static_cast<size_t>(outcome));
}

std::string Metrics::Text(const std::vector<Gauge>& gauges) const {
    support::OpenMetrics text;
    text.Begin("vellumo_conversions", "counter", "Conversions that have ended.");
    for (const auto& [kind, count] : _conversions) {
        const auto& [product, tool, outcome] = kind;
        std::string labels = ProductLabel(product);
        labels.append(",tool=\"").append(tool).append("\",outcome=\"").append(outcome).append("\"");
        text.Add(labels, count);
    }
    text.Begin("vellumo_documents", "counter", "Documents that the daemon is done with.");
    for (size_t i = 0; i < kNames.size(); ++i) {
        text.Add(std::string("outcome=\"") + kNames.at(i) + "\"", _documents.at(i));
    }
    text.Begin("vellumo_conversion_seconds", "histogram",
               "How long conversions took, without the wait for a container.");
    for (const auto& [product, histogram] : _durations) {
        text.Add(ProductLabel(product), histogram);
    }
    text.Begin("vellumo_wait_seconds", "histogram", "How long conversions waited for a container.");
    for (const auto& [product, histogram] : _waits) {
        text.Add(ProductLabel(product), histogram);
    }
    std::string last;
    for (const Gauge& gauge : gauges) {
        if (gauge.name != last) {
            text.Begin(gauge.name, "gauge", gauge.help);
            last = gauge.name;
        }
        text.Add(gauge.label, gauge.value);
    }
    return text.Text();
}

}  // namespace vellumo::daemon

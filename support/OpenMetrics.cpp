// SPDX-License-Identifier: Apache-2.0
#include "support/OpenMetrics.h"

#include <algorithm>
#include <locale>
#include <sstream>

namespace vellumo::support {
namespace {

// With a locale's comma, the text would be no metrics.
std::string TextOf(double value) {
    constexpr int kDigits = 15;
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(kDigits);
    text << value;
    return text.str();
}

}  // namespace

void Histogram::Add(double seconds) {
    ++_count;
    _sum += seconds;
    const auto bound = std::lower_bound(_bounds.begin(), _bounds.end(), seconds);
    if (bound != _bounds.end()) {
        ++_counts[static_cast<size_t>(bound - _bounds.begin())];
    }
}

void OpenMetrics::Begin(const std::string& name, const std::string& type, const std::string& help) {
    _name = name;
    _isCounter = type == "counter";
    _text += "# TYPE " + name + " " + type + "\n# HELP " + name + " " + help + "\n";
}

void OpenMetrics::AddSample(const std::string& suffix, const std::string& labels,
                            const std::string& value) {
    _text += _name + suffix + (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
}

void OpenMetrics::Add(const std::string& labels, uint64_t count) {
    AddSample(_isCounter ? "_total" : "", labels, std::to_string(count));
}

void OpenMetrics::Add(const std::string& labels, double value) {
    AddSample(_isCounter ? "_total" : "", labels, TextOf(value));
}

void OpenMetrics::Add(const std::string& labels, const Histogram& histogram) {
    const std::string first = labels.empty() ? "" : labels + ",";
    uint64_t within = 0;
    for (size_t i = 0; i < histogram._bounds.size(); ++i) {
        within += histogram._counts[i];
        AddSample("_bucket", first + "le=\"" + TextOf(histogram._bounds[i]) + "\"",
                  std::to_string(within));
    }
    AddSample("_bucket", first + "le=\"+Inf\"", std::to_string(histogram._count));
    AddSample("_sum", labels, TextOf(histogram._sum));
    AddSample("_count", labels, std::to_string(histogram._count));
}

}  // namespace vellumo::support

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_OPENMETRICS_H
#define VELLUMO_SUPPORT_OPENMETRICS_H

#include <cstdint>
#include <string>
#include <vector>

// Text in the format OpenMetrics, which monitoring programs collect.
namespace vellumo::support {

// How often something took how long.
class Histogram {
public:
    // `bounds`: upper bounds in seconds, ascending.
    explicit Histogram(std::vector<double> bounds)
        : _bounds(std::move(bounds)), _counts(_bounds.size()) {}

    void Add(double seconds);

private:
    friend class OpenMetrics;
    std::vector<double> _bounds;
    std::vector<uint64_t> _counts;
    uint64_t _count = 0;
    double _sum = 0;
};

// Collects metrics; all samples of one metric must follow each other.
class OpenMetrics {
public:
    // Begins the metric `name` of a `type` ("counter", "gauge", "histogram"). `help`: one sentence.
    void Begin(const std::string& name, const std::string& type, const std::string& help);

    // Adds samples of the metric that has begun. `labels`: "route=\"me\",status=\"200\"", or "".
    void Add(const std::string& labels, uint64_t count);
    void Add(const std::string& labels, double value);
    void Add(const std::string& labels, const Histogram& histogram);

    // The whole text, with its end.
    std::string Text() const { return _text + "# EOF\n"; }

private:
    void AddSample(const std::string& suffix, const std::string& labels, const std::string& value);

    std::string _text;
    std::string _name;
    bool _isCounter = false;
};

}  // namespace vellumo::support

#endif

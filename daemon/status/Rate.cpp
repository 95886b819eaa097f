// SPDX-License-Identifier: Apache-2.0
#include "status/Rate.h"

#include <algorithm>

namespace vellumo::daemon {
namespace {

using Minutes = std::chrono::duration<double, std::ratio<60>>;

// A shorter time says too little about the next hour.
constexpr Minutes kLeast{1.0 / 6};

}  // namespace

void Rate::Note(Clock::time_point now) {
    _done.push_back(now);
    Forget(now);
}

double Rate::PerMinute(Clock::time_point now) {
    Forget(now);
    if (_done.empty()) {
        return 0;
    }
    const Minutes passed = std::max<Minutes>(now - _done.front(), kLeast);
    return static_cast<double>(_done.size()) / passed.count();
}

std::optional<std::chrono::seconds> Rate::TimeFor(size_t documents, Clock::time_point now) {
    const double perMinute = PerMinute(now);
    if (perMinute <= 0) {
        return std::nullopt;
    }
    const Minutes left(static_cast<double>(documents) / perMinute);
    return std::chrono::duration_cast<std::chrono::seconds>(left);
}

void Rate::Forget(Clock::time_point now) {
    while (!_done.empty() && (now - _done.front() > kSpan || _done.size() > kMost)) {
        _done.pop_front();
    }
}

}  // namespace vellumo::daemon

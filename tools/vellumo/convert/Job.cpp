// SPDX-License-Identifier: Apache-2.0
#include "convert/Job.h"

#include <cmath>
#include <iomanip>
#include <sstream>

namespace vellumo::cli {
namespace {

constexpr double kSecondsPerMinute = 60;
constexpr double kMinutesPerHour = 60;

std::string Rounded(double value) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(value < 10 ? 1 : 0) << value;
    return text.str();
}

std::string Rate(double perSecond) {
    return perSecond >= 1 ? Rounded(perSecond) + " per second"
                          : Rounded(perSecond * kSecondsPerMinute) + " per minute";
}

// Rounded up, since a time that is too short would be wrong at once.
std::string TimeLeft(double seconds) {
    const double minutes = seconds / kSecondsPerMinute;
    if (minutes < 1) {
        return std::to_string(std::lround(std::ceil(seconds))) + " s left";
    }
    if (minutes < 2 * kMinutesPerHour) {
        return std::to_string(std::lround(std::ceil(minutes))) + " min left";
    }
    return std::to_string(std::lround(std::ceil(minutes / kMinutesPerHour))) + " h left";
}

}  // namespace

void Job::Resolve(const std::string& user) {
    document = std::make_unique<loader::Document>(loader::Resolve(sharePath, user));
    CheckConvertible(*document);
}

void Tally::Add(Job::State state) {
    converted += state == Job::State::kConverted ? 1 : 0;
    fresh += state == Job::State::kFresh ? 1 : 0;
    planned += state == Job::State::kPlanned ? 1 : 0;
    failed += state == Job::State::kFailed ? 1 : 0;
    notTried += state == Job::State::kNotTried ? 1 : 0;
}

Tally Tally::Of(const Jobs& jobs) {
    Tally tally;
    tally.total = jobs.size();
    for (const Job& job : jobs) {
        tally.Add(job.state);
    }
    return tally;
}

std::string Pace(const Tally& begun, const Tally& now, double seconds) {
    std::string ended = std::to_string(now.converted + now.fresh) + " done, " +
                        std::to_string(now.failed) + " failed";
    const size_t worked = now.Ended() - begun.Ended();
    if (worked == 0 || seconds <= 0) {
        return ended;
    }
    const double perSecond = static_cast<double>(worked) / seconds;
    const auto left = static_cast<double>(now.total - now.Ended());
    return ended + ", " + Rate(perSecond) + ", " + TimeLeft(left / perSecond);
}

}  // namespace vellumo::cli

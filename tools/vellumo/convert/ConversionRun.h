// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_CONVERSIONRUN_H
#define VELLUMO_TOOLS_CONVERSIONRUN_H

#include <chrono>
#include <functional>
#include <optional>

#include "convert/JobList.h"
#include "convert/Progress.h"
#include "convert/RunningJobs.h"

namespace vellumo::cli {

// The conversions of one command: keeps up to a number of jobs running until the list has no more.
class ConversionRun {
public:
    using Clock = std::chrono::steady_clock;

    struct Limits {
        size_t atOnce;                         // how many jobs run at most
        std::optional<Clock::time_point> end;  // no job starts after it
    };

    // What the run calls.
    struct Callbacks {
        // Explores folders for at most `limit`; false when nothing is left to explore.
        std::function<bool(std::chrono::milliseconds limit)> explore;
        // Tells of a job that has got its product.
        std::function<void(const Job& job)> tellDone;
    };

    // The arguments are not owned and outlive the object.
    ConversionRun(JobList& jobs, RunningJobs& running, ProgressBoard& progress);

    // How a run ended.
    enum class End { kComplete, kStopped, kTimeIsUp };

    // Blocks until every job has ended, or a stop is requested or the time is up and the running
    // jobs have ended.
    End Run(const Limits& limits, const Callbacks& callbacks, loader::StopRequests& stops);

private:
    void StartJobs(const Limits& limits);
    void Wait(loader::StopRequests& stops, bool isExploring);
    void Collect(const Callbacks& callbacks);
    void UpdateProgress();

    JobList& _jobs;
    RunningJobs& _running;
    ProgressBoard& _progress;
    std::optional<End> _endsEarly;
    Clock::time_point _begin = Clock::now();
    Tally _begun;
};

}  // namespace vellumo::cli

#endif

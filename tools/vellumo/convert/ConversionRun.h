// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_CONVERSIONRUN_H
#define VELLUMO_TOOLS_CONVERSIONRUN_H

#include <chrono>
#include <functional>

#include "convert/JobList.h"
#include "convert/Progress.h"
#include "convert/RunningJobs.h"

namespace vellumo::cli {

// The conversions of one command: keeps up to a number of jobs running until the list has no more.
class ConversionRun {
public:
    // Called with every job that has got its product.
    using Listener = std::function<void(const Job& job)>;

    // `atOnce`: how many jobs run at most. The other arguments are not owned and outlive the
    // object.
    ConversionRun(JobList& jobs, RunningJobs& running, ProgressBoard& progress, size_t atOnce);

    // Blocks until every job has ended, or a stop is requested and the running jobs have ended.
    void Run(loader::StopRequests& stops, const Listener& tellDone);

    bool IsStopped() const { return _isStopped; }

private:
    using Clock = std::chrono::steady_clock;

    bool KeepRunning();
    void Wait(loader::StopRequests& stops);
    void Collect(const Listener& tellDone);
    void UpdateProgress();

    JobList& _jobs;
    RunningJobs& _running;
    ProgressBoard& _progress;
    size_t _atOnce;
    bool _isStopped = false;
    Clock::time_point _begin = Clock::now();
    Tally _begun;
    Tally _tally;
};

}  // namespace vellumo::cli

#endif

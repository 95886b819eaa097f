// SPDX-License-Identifier: Apache-2.0
#include "convert/ConversionRun.h"

namespace vellumo::cli {

ConversionRun::ConversionRun(JobList& jobs, RunningJobs& running, ProgressBoard& progress,
                             size_t atOnce)
    : _jobs(jobs),
      _running(running),
      _progress(progress),
      _atOnce(atOnce),
      _begun(Tally::Of(jobs.All())),
      _tally(_begun) {}

void ConversionRun::Run(loader::StopRequests& stops, const Listener& tellDone) {
    while (KeepRunning()) {
        Wait(stops);
        Collect(tellDone);
    }
}

// Starts a job for every place that is free; false when nothing runs any more.
bool ConversionRun::KeepRunning() {
    UpdateProgress();
    bool isRunning = _running.Count() > 0;
    for (size_t free = _atOnce - _running.Count(); free > 0 && !_isStopped; --free) {
        Job* const job = _jobs.Next();
        if (job == nullptr) {
            break;
        }
        _running.Start(*job, _tally.Ended() + _running.Count() + 1);
        isRunning = true;
    }
    return isRunning;
}

// A job that could not be started has ended at once, so there may be nothing to wait for.
void ConversionRun::Wait(loader::StopRequests& stops) {
    const auto limit =
        _running.Count() > 0 ? loader::Watch::kLookAfter : std::chrono::milliseconds(0);
    if (_running.Wait(stops, limit)) {
        _isStopped = true;
        _running.Stop();
    }
}

void ConversionRun::Collect(const Listener& tellDone) {
    for (const Job* job : _running.TakeEnded()) {
        _tally.Add(job->state);
        _progress.Clear();
        if (job->IsDone()) {
            tellDone(*job);
        }
    }
}

void ConversionRun::UpdateProgress() {
    const std::chrono::duration<double> passed = Clock::now() - _begin;
    _progress.Update(_tally.Ended(), _tally.total, Pace(_begun, _tally, passed.count()));
}

}  // namespace vellumo::cli

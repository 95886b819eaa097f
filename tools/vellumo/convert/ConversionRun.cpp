// SPDX-License-Identifier: Apache-2.0
#include "convert/ConversionRun.h"

namespace vellumo::cli {
namespace {

// Short enough to see soon that a conversion has ended.
constexpr auto kExploreSlice = std::chrono::milliseconds(20);

}  // namespace

ConversionRun::ConversionRun(JobList& jobs, RunningJobs& running, ProgressBoard& progress)
    : _jobs(jobs), _running(running), _progress(progress), _begun(jobs.Count()) {}

ConversionRun::End ConversionRun::Run(const Limits& limits, const Callbacks& callbacks,
                                      loader::StopRequests& stops) {
    bool isExploring = true;
    do {
        UpdateProgress();
        StartJobs(limits);
        isExploring = !_endsEarly && callbacks.explore(kExploreSlice);
        Wait(stops, isExploring);
        Collect(callbacks);
    } while (_running.Count() > 0 || (!_endsEarly && (isExploring || _jobs.HasReady())));
    return _endsEarly.value_or(End::kComplete);
}

// Starts a job for every place that is free. A job whose tool has ended needs no container, so the
// next one prepares its document while that one still stores its product.
void ConversionRun::StartJobs(const Limits& limits) {
    if (!_endsEarly && limits.end && Clock::now() >= *limits.end) {
        _endsEarly = End::kTimeIsUp;
    }
    for (size_t inPool = _running.CountInPool(); inPool < limits.atOnce && !_endsEarly; ++inPool) {
        Job* const job = _running.Count() < 2 * limits.atOnce ? _jobs.Next() : nullptr;
        if (job == nullptr) {
            return;
        }
        _running.Start(*job, _jobs.Count().Ended() + _running.Count() + 1);
    }
}

// Does not wait where there is something to do: to explore, or a job that ended when it started.
void ConversionRun::Wait(loader::StopRequests& stops, bool isExploring) {
    const bool isBusy = isExploring || _running.Count() == 0;
    if (_running.Wait(stops, isBusy ? std::chrono::milliseconds(0) : loader::Watch::kLookAfter)) {
        _endsEarly = End::kStopped;
        _running.Stop();
    }
}

void ConversionRun::Collect(const Callbacks& callbacks) {
    for (const Job* job : _running.TakeEnded()) {
        _jobs.Account(*job);
        _progress.Clear();
        if (job->IsDone()) {
            callbacks.tellDone(*job);
        }
    }
}

// What turns out to be fresh takes no time, so the pace leaves it out.
void ConversionRun::UpdateProgress() {
    const std::chrono::duration<double> passed = Clock::now() - _begin;
    const Tally now = _jobs.Count();
    _begun.fresh = now.fresh;
    _progress.Update(now.Ended(), now.total, Pace(_begun, now, passed.count()));
}

}  // namespace vellumo::cli

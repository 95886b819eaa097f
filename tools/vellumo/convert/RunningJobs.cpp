// SPDX-License-Identifier: Apache-2.0
#include "convert/RunningJobs.h"

#include <algorithm>

#include "app/Reasons.h"

namespace vellumo::cli {

RunningJobs::Running::Running(Job& aJob, const loader::Assignment& task, ProgressBoard& progress,
                              size_t number)
    : job(aJob), shown(progress, number, aJob.sharePath), conversion(*aJob.document, task) {
    conversion.Start(shown);
}

double RunningJobs::Running::Seconds() const {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

RunningJobs::RunningJobs(const loader::Assignment& task, std::string user, Delivery deliver,
                         ProgressBoard& progress)
    : _task(task), _user(std::move(user)), _deliver(std::move(deliver)), _progress(progress) {}

void RunningJobs::Start(Job& job, size_t number) {
    const auto problem = ProblemOf([&] {
        if (!job.document) {
            job.Resolve(_user);
        }
        _running.emplace_back(job, _task, _progress, number);
    });
    if (problem) {
        job.Fail(*problem);
        _ended.push_back(&job);
    }
}

size_t RunningJobs::CountInPool() const {
    return static_cast<size_t>(
        std::count_if(_running.begin(), _running.end(),
                      [](const Running& running) { return !running.hasLeftPool; }));
}

bool RunningJobs::Wait(loader::StopRequests& stops, std::chrono::milliseconds limit) {
    std::vector<const loader::Conversion*> conversions;
    for (const Running& running : _running) {
        conversions.push_back(&running.conversion);
    }
    const bool isToStop = loader::WaitForNews(conversions, stops, limit, _releases.WaitOn());
    if (_releases.Take()) {
        for (Running& running : _running) {
            running.hasLeftPool = running.hasLeftPool || running.conversion.HasLeftPool();
        }
    }
    return isToStop;
}

void RunningJobs::Stop() {
    for (Running& running : _running) {
        running.conversion.Stop();
    }
}

std::vector<Job*> RunningJobs::TakeEnded() {
    for (auto running = _running.begin(); running != _running.end();) {
        if (HasEnded(*running)) {
            _ended.push_back(&running->job);
            running = _running.erase(running);
        } else {
            ++running;
        }
    }
    // A hundred thousand resolved documents would take more memory than all else.
    for (Job* job : _ended) {
        job->document.reset();
    }
    return std::exchange(_ended, {});
}

bool RunningJobs::HasEnded(Running& running) const {
    Job& job = running.job;
    const auto problem = ProblemOf([&] {
        if (const auto product = running.conversion.Look()) {
            _deliver(job, *product);
            job.state = Job::State::kConverted;
        }
    });
    if (problem) {
        job.Fail(*problem);
    }
    job.seconds = job.IsOpen() ? 0 : running.Seconds();
    return !job.IsOpen();
}

}  // namespace vellumo::cli

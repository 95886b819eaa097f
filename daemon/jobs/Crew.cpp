// SPDX-License-Identifier: Apache-2.0
#include "jobs/Crew.h"

#include <algorithm>

namespace vellumo::daemon {

void Crew::Start(Item item, const std::string& sharePath) {
    _jobs.emplace_back(std::move(item), sharePath, _limits).Start();
}

std::vector<Crew::Ended> Crew::TakeEnded() {
    std::vector<Ended> ended;
    for (auto job = _jobs.begin(); job != _jobs.end();) {
        const auto outcome = job->Look();
        for (const Step& step : job->TakeSteps()) {
            _noteStep(step);
        }
        if (outcome) {
            ended.push_back({job->What(), job->SharePath(), *outcome, job->Why(), job->Seconds()});
            job = _jobs.erase(job);
        } else {
            ++job;
        }
    }
    return ended;
}

void Crew::Stop() {
    for (DocumentJob& job : _jobs) {
        job.Stop();
    }
}

size_t Crew::Waiting() const {
    return static_cast<size_t>(std::count_if(
        _jobs.begin(), _jobs.end(), [](const auto& job) { return job.WaitsForContainer(); }));
}

bool Crew::HasOverdue() const {
    return std::any_of(_jobs.begin(), _jobs.end(),
                       [](const DocumentJob& job) { return job.IsOverdue(); });
}

void Crew::AddTo(std::vector<pollfd>& sources) const {
    for (const DocumentJob& job : _jobs) {
        if (job.WaitOn() >= 0) {
            sources.push_back({job.WaitOn(), POLLIN, 0});
        }
    }
}

}  // namespace vellumo::daemon

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_RUNNINGJOBS_H
#define VELLUMO_TOOLS_RUNNINGJOBS_H

#include <chrono>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "convert/Job.h"
#include "convert/Progress.h"
#include "loader/conversion/Conversion.h"
#include "loader/pool/SlotReleases.h"

namespace vellumo::cli {

// The jobs that are converted at this moment, each in its own worker process. One thread watches
// all of them.
class RunningJobs {
public:
    // Takes a job's product; may throw Failure.
    using Delivery = std::function<void(Job& job, const std::string& product)>;

    // `progress` is not owned and outlives the object.
    // `user`: for whom jobs are resolved that are not yet.
    RunningJobs(const loader::Assignment& task, std::string user, Delivery deliver,
                ProgressBoard& progress);

    size_t Count() const { return _running.size(); }

    // How many of them may still need a container: the others only store their products.
    size_t CountInPool() const;

    // Resolves the document of `job` and starts to convert it. The job is not owned and stays where
    // it is until it has ended. `number`: the how-manieth job of the command it is.
    void Start(Job& job, size_t number);

    // Waits until a job may have ended or a stop is requested, for at most `limit`. Returns whether
    // a stop is requested.
    bool Wait(loader::StopRequests& stops, std::chrono::milliseconds limit);

    // Requests all jobs to stop; a second call ends every wait for them.
    void Stop();

    // The jobs that have ended, converted or failed, since the last call.
    std::vector<Job*> TakeEnded();

private:
    using Clock = std::chrono::steady_clock;

    struct Running {
        Running(Job& job, const loader::Assignment& task, ProgressBoard& progress, size_t number);
        double Seconds() const;

        Job& job;
        Progress shown;
        loader::Conversion conversion;
        Clock::time_point begin = Clock::now();
        bool hasLeftPool = false;
    };

    bool HasEnded(Running& running) const;

    loader::Assignment _task;
    std::string _user;
    Delivery _deliver;
    ProgressBoard& _progress;
    std::list<Running> _running;
    std::vector<Job*> _ended;
    loader::SlotReleases _releases;
};

}  // namespace vellumo::cli

#endif

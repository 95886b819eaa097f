// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_CREW_H
#define VELLUMO_DAEMON_CREW_H

#include <poll.h>

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "jobs/DocumentJob.h"

namespace vellumo::daemon {

// The documents that are converted at this moment.
class Crew {
public:
    // A document whose job has ended.
    struct Ended {
        Item item;
        std::string sharePath;
        Outcome outcome;
        std::optional<loader::Problem> why;
        double seconds;
    };

    // `noteStep` is called for each conversion that has ended.
    explicit Crew(std::function<void(const Step&)> noteStep) : _noteStep(std::move(noteStep)) {}

    void SetLimits(const WorkerLimits& limits) { _limits = limits; }

    void Start(Item item, const std::string& sharePath);

    // Looks at all jobs and returns those that have ended since the last call.
    std::vector<Ended> TakeEnded();

    // Requests all jobs to stop; a second call ends every wait for them.
    void Stop();

    size_t Count() const { return _jobs.size(); }

    // How many of them wait for a container.
    size_t Waiting() const;

    // Whether a worker stays although it should have ended long ago.
    bool HasOverdue() const;

    // Adds what becomes readable when a conversion has ended.
    void AddTo(std::vector<pollfd>& sources) const;

    const std::list<DocumentJob>& Jobs() const { return _jobs; }

private:
    std::function<void(const Step&)> _noteStep;
    WorkerLimits _limits;
    std::list<DocumentJob> _jobs;
};

}  // namespace vellumo::daemon

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_DOCUMENTJOB_H
#define VELLUMO_DAEMON_DOCUMENTJOB_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "jobs/Item.h"
#include "loader/Problem.h"
#include "loader/conversion/Conversion.h"
#include "loader/documents/Document.h"

namespace vellumo::daemon {

// What one worker process may take.
struct WorkerLimits {
    int64_t memory = 0;            // bytes of resident memory; 0: no limit
    std::chrono::seconds time{0};  // of work, without the wait for a container; 0: no limit
};

// One conversion that has ended.
struct Step {
    std::string product;  // "pdf", "thumbnail"
    std::string tool;     // the program that converts
    std::string outcome;  // "done", or the name of the reason why there is no product
    double seconds = 0;   // from its start to its end
    double waited = 0;    // of these, the wait for a container
    int64_t bytes = 0;    // size of the product
};

// What has become of a document.
enum class Outcome {
    kFresh,     // its products were up to date
    kDone,      // products were made
    kFailed,    // it cannot be converted
    kPutOff,    // it has failed before, and it is not the time for another attempt
    kGone,      // there is no such document any more
    kDeferred,  // something else prevents it: the pool, the disk, a stop
};

// Makes the products of one document that are missing: its PDF, then its thumbnail. Each conversion
// has a worker process of its own, which may crash or be killed without harm to the daemon.
class DocumentJob {
public:
    DocumentJob(Item item, std::string sharePath, const WorkerLimits& limits);
    ~DocumentJob();
    DocumentJob(const DocumentJob&) = delete;
    DocumentJob& operator=(const DocumentJob&) = delete;

    // Starts the first conversion. Does not block.
    void Start();

    // How it ended; null while it goes on. Call it about ten times a second, and when WaitOn()
    // becomes readable. Starts the next conversion when one has ended.
    std::optional<Outcome> Look();

    // Requests the conversion to stop; a second call ends every wait.
    void Stop();

    // A file descriptor that becomes readable when a conversion has ended; -1 when none runs.
    int WaitOn() const;

    const Item& What() const { return _item; }
    const std::string& SharePath() const { return _sharePath; }

    // The conversions that have ended since the last call.
    std::vector<Step> TakeSteps();

    // Why it failed or was deferred; null when it did not.
    const std::optional<loader::Problem>& Why() const { return _why; }

    // What it does now, for people: "pdf: waits for a container".
    std::string Activity() const;
    double Seconds() const;
    bool WaitsForContainer() const;

    // Whether its worker has exceeded a limit and has not ended although that was requested: the
    // daemon makes no progress with it.
    bool IsOverdue() const;

private:
    class Phases;
    struct Running;
    using Service = loader::Assignment::Service;

    std::optional<Service> NextService();
    void StartNext();
    void Begin(Service service);
    bool MayTry(Service service);
    void EndStep(const std::string& outcome, int64_t bytes = 0);
    void NoteTimeLimit() const;
    void Fail(const loader::Problem& problem);
    void EnforceLimits();

    Item _item;
    std::string _sharePath;
    WorkerLimits _limits;
    std::optional<loader::Document> _document;
    std::unique_ptr<Running> _running;
    std::vector<Service> _left;  // the services that are still to be asked, the next one last
    std::vector<Step> _steps;
    bool _anyMade = false;
    bool _isStopped = false;
    std::optional<Outcome> _outcome;
    std::optional<loader::Problem> _why;
    std::chrono::steady_clock::time_point _begin = std::chrono::steady_clock::now();
};

}  // namespace vellumo::daemon

#endif

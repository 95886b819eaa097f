// SPDX-License-Identifier: Apache-2.0
#include "jobs/DocumentJob.h"

#include <sys/stat.h>

#include <csignal>
#include <ctime>
#include <utility>

#include "jobs/Circumstances.h"
#include "jobs/WorkerProcess.h"
#include "loader/cache/KeptProducts.h"
#include "loader/failures/FailureMemory.h"

namespace vellumo::daemon {
namespace {

using Clock = std::chrono::steady_clock;
using loader::Phase;
using loader::Reason;

// How long a worker has, after it was asked to stop, to free its container.
constexpr auto kGrace = std::chrono::seconds(30);

constexpr const char* kRoot = "root";

double SecondsOf(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

const char* ProductOf(loader::Assignment::Service service) {
    return service == loader::Assignment::Service::kThumbnail ? loader::kThumbnailProduct
                                                              : loader::kPdfProduct;
}

int64_t SizeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_size : 0;
}

loader::Problem TimeLimitOf(const std::string& sharePath) {
    return {Reason::kTimeLimit, "cannot convert " + sharePath,
            "it takes longer than the setting workerTime allows", ""};
}

const char* TextOf(Phase phase) {
    switch (phase) {
        case Phase::kPreparing:
            return "prepares";
        case Phase::kWaiting:
            return "waits for a container";
        case Phase::kTool:
            return "converts";
        case Phase::kFinishing:
            return "stores the product";
        case Phase::kGivingUp:
            return "stops";
    }
    return "";
}

}  // namespace

// Follows the phases of one conversion and adds up how long it waits for a container.
class DocumentJob::Phases : public loader::Listener {
public:
    bool WantsObstacles() const override { return false; }
    void Report(Phase phase, const std::string& /*obstacle*/) override {
        const auto now = Clock::now();
        if (_phase == Phase::kWaiting) {
            _waited += now - _since;
        }
        _phase = phase;
        _since = now;
    }

    Phase Now() const { return _phase; }
    Clock::duration Waited() const { return _waited; }

private:
    Phase _phase = Phase::kPreparing;
    Clock::time_point _since = Clock::now();
    Clock::duration _waited{};
};

struct DocumentJob::Running {
    Running(const loader::Document& document, Service aService)
        : service(aService),
          identity(loader::IdentityOf(document.realPath)),
          conversion(document, loader::Assignment{aService}) {
        conversion.Start(phases);
    }

    Clock::duration Passed() const { return Clock::now() - begin; }
    Clock::duration Worked() const { return Passed() - phases.Waited(); }

    Service service;
    std::optional<loader::DocumentIdentity> identity;
    Phases phases;
    loader::Conversion conversion;
    Clock::time_point begin = Clock::now();
    std::optional<Clock::time_point> stopped;
};

DocumentJob::DocumentJob(Item item, std::string sharePath, const WorkerLimits& limits)
    : _item(std::move(item)), _sharePath(std::move(sharePath)), _limits(limits) {
    if (WantsThumbnail(_item.products)) {
        _left.push_back(Service::kThumbnail);
    }
    if (WantsPdf(_item.products)) {
        _left.push_back(Service::kCachedPdf);
    }
}

DocumentJob::~DocumentJob() = default;

void DocumentJob::Start() {
    try {
        _document = loader::Resolve(_sharePath, kRoot);
        loader::CheckConvertible(*_document);
        StartNext();
    } catch (const loader::Failure& failure) {
        _left.clear();  // what prevents the first conversion prevents the others too
        Fail(failure.Details());
    }
}

void DocumentJob::StartNext() {
    if (const auto service = NextService()) {
        Begin(*service);
    } else if (!_outcome) {
        _outcome = _anyMade ? Outcome::kDone : Outcome::kFresh;
    }
}

// Closes the cache again before a worker starts: its connection must not cross the fork.
std::optional<DocumentJob::Service> DocumentJob::NextService() {
    const auto cache = loader::OpenCache("cannot convert " + _sharePath);
    const loader::KeptProducts kept(*_document);
    while (!_left.empty()) {
        const Service service = _left.back();
        _left.pop_back();
        if (!kept.IsFresh(loader::Assignment{service}.Stream(), *cache) && MayTry(service)) {
            return service;
        }
    }
    return std::nullopt;
}

// A mark of which the memory of failures knows nothing may be what a killed attempt has left, or
// one whose document was renamed meanwhile. One more attempt tells.
bool DocumentJob::MayTry(Service service) {
    const auto obstacle = loader::FailureMemory().Obstacle(
        *_document, ProductOf(service), std::time(nullptr), loader::Marks::kIgnored);
    if (obstacle && !_outcome) {
        _why = obstacle;
        _outcome = Outcome::kPutOff;
    }
    return !obstacle;
}

void DocumentJob::Begin(Service service) {
    _running = std::make_unique<Running>(*_document, service);
    if (_item.lane != Lane::kNow) {
        MakeBackground(_running->conversion.Process());
    }
}

std::optional<Outcome> DocumentJob::Look() {
    if (!_running) {
        return _outcome;
    }
    EnforceLimits();
    try {
        const auto product = _running->conversion.Look();
        if (!product) {
            return std::nullopt;
        }
        EndStep("done", SizeOf(*product));
        _anyMade = true;
        StartNext();
    } catch (const loader::Failure& failure) {
        if (_running && _running->stopped && !_isStopped) {
            NoteTimeLimit();
            EndStep(loader::NameOf(Reason::kTimeLimit));
            Fail(TimeLimitOf(_sharePath));
        } else {
            if (_running) {
                EndStep(loader::NameOf(failure.Details().reason));
            }
            Fail(failure.Details());
        }
    }
    return _running ? std::nullopt : _outcome;
}

// The conversion itself only knows that it was stopped, which is no failure.
void DocumentJob::NoteTimeLimit() const {
    if (_running->identity) {
        loader::FailureMemory().NoteFailure(*_document, *_running->identity,
                                            ProductOf(_running->service), TimeLimitOf(_sharePath),
                                            std::time(nullptr));
    }
}

void DocumentJob::EndStep(const std::string& outcome, int64_t bytes) {
    const Running& ended = *_running;
    _steps.push_back({ProductOf(ended.service),
                      loader::Assignment{ended.service}.WayFor(*_document).tool, outcome,
                      SecondsOf(ended.Passed()), SecondsOf(ended.phases.Waited()), bytes});
    _running.reset();
}

// A PDF that cannot be made says little about the thumbnail: that needs only the first page. But a
// document that kills its worker is not given another one.
void DocumentJob::Fail(const loader::Problem& problem) {
    _why = problem;
    if (problem.reason == Reason::kMissing) {
        _outcome = Outcome::kGone;
        return;
    }
    if (_isStopped || IsCircumstance(problem)) {
        _outcome = Outcome::kDeferred;
        return;
    }
    _outcome = Outcome::kFailed;
    if (_document && problem.reason != Reason::kWorkerDied && !_left.empty()) {
        try {
            StartNext();
        } catch (const loader::Failure& failure) {
            _left.clear();
            Fail(failure.Details());
        }
    }
}

void DocumentJob::EnforceLimits() {
    Running& running = *_running;
    const pid_t worker = running.conversion.Process();
    if (_limits.memory > 0 && MemoryOf(worker) > _limits.memory) {
        kill(worker, SIGKILL);
        return;
    }
    if (_limits.time.count() == 0 || running.Worked() < _limits.time) {
        return;
    }
    if (!running.stopped) {
        running.stopped = Clock::now();
        running.conversion.Stop();
    } else if (Clock::now() - *running.stopped > kGrace) {
        kill(worker, SIGKILL);
    }
}

void DocumentJob::Stop() {
    _isStopped = true;
    _left.clear();
    if (_running) {
        _running->conversion.Stop();
    }
}

int DocumentJob::WaitOn() const {
    return _running ? _running->conversion.WaitOn() : -1;
}

std::vector<Step> DocumentJob::TakeSteps() {
    return std::exchange(_steps, {});
}

std::string DocumentJob::Activity() const {
    return _running
               ? std::string(ProductOf(_running->service)) + ": " + TextOf(_running->phases.Now())
               : "";
}

double DocumentJob::Seconds() const {
    return SecondsOf(Clock::now() - _begin);
}

bool DocumentJob::WaitsForContainer() const {
    return _running && _running->phases.Now() == Phase::kWaiting;
}

bool DocumentJob::IsOverdue() const {
    return _running && _limits.time.count() > 0 &&
           _running->Worked() > _limits.time + kGrace + kGrace;
}

}  // namespace vellumo::daemon

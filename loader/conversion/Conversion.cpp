// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/Conversion.h"

#include <poll.h>
#include <unistd.h>

#include <ctime>

#include "loader/cache/KeptProducts.h"
#include "loader/conversion/Endings.h"
#include "loader/failures/FailureKind.h"
#include "loader/failures/FailureMemory.h"
#include "loader/pool/Readiness.h"

namespace vellumo::loader {

namespace core = NAVO::VELLUMO;

Conversion::Conversion(const Document& document, const Assignment& assignment)
    : _document(document), _assignment(assignment) {}

std::string Conversion::Run(StopRequests& stops, Listener& listener) {
    Start(listener);
    while (true) {
        if (WaitForNews({this}, stops)) {
            Stop();
        }
        if (const auto product = Look()) {
            return *product;
        }
    }
}

void Conversion::Start(Listener& listener) {
    if (_assignment.Stream() != nullptr) {
        MakeReadyToKeep();
    }
    _identity = IdentityOf(_document.realPath);
    _worker.emplace(_document, _assignment);
    _watch.emplace(*_worker, _assignment.Priority(), listener);
}

std::optional<std::string> Conversion::Look() {
    const std::optional<Ending> ending = _watch->Look();
    if (!ending) {
        return std::nullopt;
    }
    try {
        std::string product = OutcomeOf(*ending);
        Forget();
        return product;
    } catch (const Failure& failure) {
        Remember(failure.Details());
        throw;
    }
}

void Conversion::Remember(const Problem& problem) const {
    if (_identity) {
        FailureMemory().NoteFailure(_document, *_identity, ProductOf(_assignment), problem,
                                    std::time(nullptr));
    }
}

void Conversion::Forget() const {
    if (_identity) {
        FailureMemory().NoteSuccess(_document, *_identity, ProductOf(_assignment));
    }
}

// A thumbnail takes two tools, one after the other.
bool Conversion::HasLeftPool() {
    return _assignment.service != Assignment::Service::kThumbnail && _watch->HasSeenToolEnd();
}

std::string Conversion::OutcomeOf(const Ending& ending) {
    switch (ending.kind) {
        case Ending::Kind::kReported:
            return Product(ending.report);
        case Ending::Kind::kDied:
            throw Failure(ExplainDeath(What(), _worker->Dismiss()));
        case Ending::Kind::kStopped:
            RemoveFailureMark();
            break;
        case Ending::Kind::kLeftBehind:
        case Ending::Kind::kAbandoned:
            break;
    }
    throw Failure(ExplainStop(What(), ending.kind));
}

// Closes the index again before the worker starts: SQLite connections must not cross a fork. Of
// most documents nothing is kept yet; opening the index for them would hold up all other
// conversions. But the index may know an older version whose products went with its file, and a
// thumbnail would not count as fresh. What stores a PDF sees to that.
void Conversion::MakeReadyToKeep() const {
    const KeptProducts products(_document);
    if (products.HasAny() || _assignment.service == Assignment::Service::kThumbnail) {
        products.RemoveStale(*OpenCache(What()));
    }
    std::string path;
    if (!core::CacheManager::GetEAPath(_document.realPath, _assignment.Stream(), path)) {
        throw Failure(
            {Reason::kNowhereToKeep, What(),
             "nothing can be kept of the document: its directory " + _document.eaDirectory +
                 " cannot be created",
             "Check that the volume has free space, is not read-only, and has a root folder "
             "to which only root may write, or a sticky one."});
    }
}

// A stopped attempt leaves the mark too, although it is not a failure.
void Conversion::RemoveFailureMark() const {
    if (_assignment.service == Assignment::Service::kThumbnail) {
        unlink(KeptProducts(_document).MarkPath().c_str());
    }
}

// A document can make its tool write what an engine writes, so the engine is asked.
Problem Conversion::WhyNoProduct(int result) const {
    Problem problem = ExplainResult(result, What(), _assignment.ToolsFor(_document));
    std::vector<std::string> words = _worker->ToolOutput();
    if (problem.reason == Reason::kToolFailed && TellsOfEngine(words) && !DoContainersAnswer()) {
        problem = ExplainEngine(What(), words.back());
    }
    problem.toolOutput = std::move(words);
    return problem;
}

std::string Conversion::Product(const WorkerReport& report) const {
    if (!IsSuccess(report.result)) {
        throw Failure(WhyNoProduct(report.result));
    }
    if (_assignment.Stream() == nullptr) {
        return report.product;
    }
    std::string kept = KeptProducts(_document).PathOf(_assignment.Stream());
    if (access(kept.c_str(), F_OK) != 0) {
        throw Failure(ExplainNothingKept(What()));
    }
    return kept;
}

const char* ProductOf(const Assignment& assignment) {
    switch (assignment.service) {
        case Assignment::Service::kCachedPdf:
            return kPdfProduct;
        case Assignment::Service::kThumbnail:
            return kThumbnailProduct;
        case Assignment::Service::kPdf:
            break;
    }
    return nullptr;
}

bool WaitForNews(const std::vector<const Conversion*>& running, StopRequests& stops,
                 std::chrono::milliseconds limit, int also) {
    std::vector<pollfd> sources{{stops.WaitOn(), POLLIN, 0}, {also, POLLIN, 0}};
    for (const Conversion* conversion : running) {
        sources.push_back({conversion->WaitOn(), POLLIN, 0});
    }
    poll(sources.data(), sources.size(), static_cast<int>(limit.count()));
    return sources.front().revents != 0 && stops.Take();
}

}  // namespace vellumo::loader

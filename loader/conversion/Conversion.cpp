// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/Conversion.h"

#include <unistd.h>

#include "loader/cache/KeptProducts.h"
#include "loader/conversion/Endings.h"

namespace vellumo::loader {

namespace core = NAVO::VELLUMO;

Conversion::Conversion(const Document& document, const Assignment& assignment)
    : _document(document), _assignment(assignment) {}

std::string Conversion::Run(StopRequests& stops, Listener& listener) {
    if (_assignment.Stream() != nullptr) {
        MakeReadyToKeep();
    }
    _worker.emplace(_document, _assignment);
    const Ending ending = Watch(*_worker, _assignment.Priority(), stops, listener);
    switch (ending.kind) {
        case Ending::Kind::kReported:
            return Product(ending.report);
        case Ending::Kind::kDied:
            throw Failure(ExplainDeath(What(), _worker->Dismiss()));
        case Ending::Kind::kStopped:
            Tidy();
            break;
        case Ending::Kind::kLeftBehind:
        case Ending::Kind::kAbandoned:
            break;
    }
    throw Failure(ExplainStop(What(), ending.kind));
}

// The index is closed again before the worker is made: SQLite's connections do not survive a fork.
void Conversion::MakeReadyToKeep() const {
    KeptProducts(_document).RemoveStale(*OpenCache(What()));
    std::string path;
    if (!core::CacheManager::GetEAPath(_document.realPath, _assignment.Stream(), path)) {
        throw Failure({Reason::kNowhereToKeep, What(),
                       "nothing can be kept beside the document: its directory " +
                           _document.eaDirectory + " cannot be made",
                       "Check the volume's free space and whether it may be written to."});
    }
}

// The attempt has left the mark of a failure, which it was not.
void Conversion::Tidy() const {
    if (_assignment.service == Assignment::Service::kThumbnail) {
        unlink(KeptProducts(_document).MarkPath().c_str());
    }
}

std::string Conversion::Product(const WorkerReport& report) const {
    if (!IsSuccess(report.result)) {
        Problem problem = ExplainResult(report.result, What(), _assignment.ToolsFor(_document));
        problem.toolOutput = _worker->ToolOutput();
        throw Failure(std::move(problem));
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

}  // namespace vellumo::loader

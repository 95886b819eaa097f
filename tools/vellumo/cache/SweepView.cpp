// SPDX-License-Identifier: Apache-2.0
#include "cache/SweepView.h"

#include <unistd.h>

#include <iostream>

#include "app/Messages.h"
#include "loader/Text.h"

namespace vellumo::cli {

void SweepView::Enters(const std::string& where) {
    if (!_json && isatty(STDERR_FILENO) != 0) {
        std::cerr << "Looking through " << Printable(where) << " ...\n";
    }
}

void SweepView::Finds(const loader::Leftover& leftover, const std::string& problem) {
    ++(problem.empty() ? _sum.count : _failures);
    _sum.bytes += problem.empty() ? leftover.bytes : 0;
    Json::Value entry(Json::objectValue);
    entry["kind"] = loader::NameOf(leftover.kind);
    entry["path"] = leftover.path;
    entry["bytes"] = Json::Int64{leftover.bytes};
    entry["problem"] = problem.empty() ? Json::Value() : Json::Value(problem);
    _entries.append(entry);
    if (_json) {
        return;
    }
    std::cout << loader::NameOf(leftover.kind) << ' ' << Printable(leftover.path) << '\n';
    if (!problem.empty()) {
        std::cerr << "vellumo: cannot remove " << Printable(leftover.path) << ": " << problem
                  << '\n';
    }
}

bool SweepView::WantsEnd() {
    _isInterrupted = _interrupts.Take() || _isInterrupted;
    return _isInterrupted;
}

void SweepView::PrintSums() const {
    std::cout << loader::Count(_sum.count, "leftover") << ", " << _sum.bytes << " bytes, "
              << (_isDryRun ? "would be removed" : "removed") << '\n';
}

CommandResult SweepView::Result() {
    CommandResult result{_failures == 0 ? ExitCode::kDone : ExitCode::kFailed};
    result.json["dryRun"] = _isDryRun;
    result.json["leftovers"] = std::move(_entries);
    result.json["removed"] = Json::UInt64{_isDryRun ? 0 : _sum.count};
    result.json["bytes"] = Json::Int64{_sum.bytes};
    result.json["failed"] = Json::UInt64{_failures};
    if (!_json) {
        PrintSums();
    }
    if (_isInterrupted) {
        result.FailWith({ExitCode::kInterrupted,
                         "the sweep is not complete",
                         "it was interrupted",
                         "Run it again; it goes on with what is left.",
                         {}});
    }
    return result;
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#include "convert/CacheLimit.h"

#include <sys/stat.h>

#include "app/Reasons.h"
#include "loader/Text.h"
#include "loader/cache/CacheIndex.h"

namespace vellumo::cli {
namespace {

// The average of fewer kept PDFs says little about others.
constexpr int64_t kEnoughKept = 20;

constexpr int64_t kMebibyte = int64_t{1} << 20;
constexpr int64_t kGibibyte = int64_t{1} << 30;

// The documents of a run that have a PDF at its end.
struct Expected {
    bool isAnyToConvert = false;
    int64_t pdfs = 0;
    int64_t documentBytes = 0;
};

Expected ExpectedOf(const Jobs& jobs) {
    Expected expected;
    for (const Job& job : jobs) {
        expected.isAnyToConvert = expected.isAnyToConvert || job.IsOpen();
        if (job.IsOpen() || job.IsDone()) {
            ++expected.pdfs;
            expected.documentBytes += job.size;
        }
    }
    return expected;
}

// What the PDFs will take: each as much as those that are kept already, on average. Without them,
// as much as its document; both are no more than estimates.
int64_t EstimateOf(const Expected& expected) {
    const loader::CacheTotals kept = loader::CacheIndex("cannot measure the cache").Totals();
    return kept.streams >= kEnoughKept ? kept.bytes / kept.streams * expected.pdfs
                                       : expected.documentBytes;
}

std::string InMebibytes(int64_t bytes) {
    return std::to_string((bytes + kMebibyte - 1) / kMebibyte) + " MiB";
}

// A limit that has room for the estimate, and a quarter more.
std::string Suggestion(int64_t bytes) {
    return std::to_string((bytes + bytes / 4) / kGibibyte + 1) + "G";
}

int64_t SizeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_size : 0;
}

}  // namespace

CacheLimit::CacheLimit(std::function<void(const Problem&)> warn) : _warn(std::move(warn)) {
    const loader::Settings settings = loader::Settings::Read();
    for (const loader::Problem& problem : settings.Problems()) {
        _warn(InOwnTerms(problem));
    }
    _limit = settings.Json(loader::Setting::kCacheLimit).asString();
    _collection.emplace(loader::LimitOf(settings));
}

void CacheLimit::WarnOfTooMany(int64_t pdfs, int64_t bytes) const {
    _warn({ExitCode::kDone,
           "not all PDFs of this run will stay",
           "those of " + loader::Count(static_cast<size_t>(pdfs), "document") + " take about " +
               InMebibytes(bytes) + ", an estimate, and the setting cacheLimit is " + _limit +
               " (" + InMebibytes(*_collection->Limit()) + ")",
           "The PDFs that were used longest ago will be removed. To keep all of them: vellumo "
           "settings set cacheLimit " +
               Suggestion(bytes),
           {}});
}

void CacheLimit::CheckRoomFor(const Jobs& jobs) {
    if (_hasChecked || !_collection || !_collection->Limit()) {
        return;
    }
    _hasChecked = true;
    const Expected expected = ExpectedOf(jobs);
    int64_t bytes = 0;
    if (const auto problem = ProblemOf([&] { bytes = EstimateOf(expected); })) {
        _warn(*problem);
    }
    if (expected.isAnyToConvert && bytes > *_collection->Limit()) {
        WarnOfTooMany(expected.pdfs, bytes);
    }
}

void CacheLimit::NoteStored(const Job& job) {
    Collect([&] { _collection->NoteStored(SizeOf(job.kept)); });
}

void CacheLimit::Finish() {
    Collect([this] { _collection->Finish(); });
}

void CacheLimit::Collect(const std::function<void()>& step) {
    if (!_collection) {
        return;
    }
    if (const auto problem = ProblemOf(step)) {
        _warn(*problem);
        _collection.reset();
    }
}

}  // namespace vellumo::cli

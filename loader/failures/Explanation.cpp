// SPDX-License-Identifier: Apache-2.0
#include "loader/failures/Explanation.h"

#include <unistd.h>

#include <array>
#include <utility>

#include "loader/cache/KeptProducts.h"
#include "vellumo/Constants.h"
#include "vellumo/TaskDB.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;

// The products and their streams.
const std::array<std::pair<const char*, const char*>, 2> kProducts{
    {{kPdfProduct, core::SZK_THUMB_PDF_TYPE}, {kThumbnailProduct, core::SZK_THUMB_TYPE}}};

// Carries out `step`; a failure becomes one of the explanation's problems.
template <typename Step>
void FindOut(Explanation& explanation, Step step) {
    try {
        step();
    } catch (const Failure& failure) {
        explanation.problems.push_back(failure.Details());
    }
}

ProductState::Kept KeptState(const KeptProducts& kept, const ProductState& state,
                             const char* stream, core::CacheManager* cache) {
    if (state.path.empty() || access(state.path.c_str(), F_OK) != 0) {
        return ProductState::Kept::kNot;
    }
    const bool isFresh =
        cache != nullptr ? kept.IsFresh(stream, *cache) : !kept.IsOutOfDate(state.path);
    return isFresh ? ProductState::Kept::kFresh : ProductState::Kept::kStale;
}

// Does not open an index that is missing, which would create it.
void AddKeptStates(Explanation& explanation, const KeptProducts& kept) {
    const bool hasIndex = access(core::SZF_CACHE_DB_PATH, F_OK) == 0;
    const auto cache = hasIndex ? OpenCache("cannot tell what is fresh") : nullptr;
    for (size_t i = 0; i < explanation.products.size(); ++i) {
        ProductState& state = explanation.products[i];
        state.kept = KeptState(kept, state, kProducts.at(i).second, cache.get());
    }
}

void AddProducts(Explanation& explanation) {
    const KeptProducts kept(*explanation.document);
    for (const auto& [product, stream] : kProducts) {
        ProductState& state = explanation.products.emplace_back();
        state.product = product;
        state.path = kept.PathOf(stream);
    }
    explanation.products.back().isMarked = kept.ThumbnailHasFailed();
    FindOut(explanation, [&] { AddKeptStates(explanation, kept); });
}

void AddFailures(Explanation& explanation, int64_t now) {
    const FailureMemory memory;
    const std::vector<RememberedFailure> failures = memory.Of(explanation.document->realPath);
    if (failures.empty()) {
        return;
    }
    const std::string tools = ToolsFingerprint();
    const int deaths = DeathsIn(failures, tools);
    for (ProductState& state : explanation.products) {
        const RememberedFailure* const row = DecidingFailure(failures, deaths, state.product);
        if (row != nullptr) {
            state.failure = *row;
            state.retry = RetryOf(*row, deaths, tools, now);
        }
    }
}

// The folders above a path, and the path itself, as a list for SQL.
std::string WithFoldersAbove(const std::string& path) {
    std::string list = core::BaseDB::EscapeString(path, true);
    for (size_t end = path.rfind('/'); end != 0 && end != std::string::npos;
         end = path.rfind('/', end - 1)) {
        list += ", " + core::BaseDB::EscapeString(path.substr(0, end), true);
    }
    return list;
}

void AddQueued(Explanation& explanation) {
    if (access(core::SZF_THUMB_DB_PATH, F_OK) != 0) {
        return;
    }
    core::BaseDB queue;
    queue.path = core::SZF_THUMB_DB_PATH;
    std::vector<core::Row> rows;
    if (!queue.Open() ||
        !queue.QueryResult("SELECT path FROM tasks WHERE path IN (" +
                               WithFoldersAbove(explanation.document->realPath) + ") ORDER BY id",
                           rows)) {
        throw Failure({Reason::kQueueUnreadable, "cannot tell whether it is queued",
                       std::string("the queue, ") + core::SZF_THUMB_DB_PATH + ", cannot be read",
                       "The system log has the error of the database."});
    }
    for (core::Row& row : rows) {
        explanation.queuedThrough.push_back(row["path"]);
    }
}

}  // namespace

Explanation Explain(const std::string& sharePath, const std::string& user, int64_t now) {
    Explanation explanation;
    explanation.sharePath = sharePath;
    try {
        explanation.document = Resolve(sharePath, user);
        CheckConvertible(*explanation.document);
    } catch (const Failure& failure) {
        explanation.refusal = failure.Details();
    }
    const bool isThere = explanation.document && IdentityOf(explanation.document->realPath);
    if (!isThere) {
        return explanation;
    }
    AddProducts(explanation);
    FindOut(explanation, [&] { AddFailures(explanation, now); });
    FindOut(explanation, [&] { explanation.work = WorkOn(*explanation.document); });
    FindOut(explanation, [&] { AddQueued(explanation); });
    return explanation;
}

}  // namespace vellumo::loader

// SPDX-License-Identifier: Apache-2.0
#include "loader/failures/FailureMemory.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <numeric>
#include <utility>

#include "loader/Text.h"
#include "loader/cache/KeptProducts.h"
#include "loader/failures/FailureKind.h"

namespace vellumo::loader {
namespace {

using Clock = std::chrono::steady_clock;
using Purpose = FailureTable::Purpose;

constexpr const char* kRead = "cannot read what has failed";
constexpr const char* kRemember = "cannot remember a failure";
constexpr const char* kForget = "cannot forget failures";
constexpr size_t kLongestText = 2048;  // bytes

// This process's rest after trouble with a file.
struct Rest {
    bool told = false;
    Clock::time_point end;
};

Rest& RestFrom(const std::string& file) {
    static std::map<std::string, Rest> rests;
    return rests[file];
}

// Carries out `step` unless `file` rests. Costs the memory only when it fails.
template <typename Step>
void Try(const std::string& file, Step step) {
    constexpr std::chrono::minutes kRest(1);
    Rest& rest = RestFrom(file);
    if (Clock::now() < rest.end) {
        return;
    }
    try {
        step();
        rest.told = false;
    } catch (const Failure& failure) {
        rest.end = Clock::now() + kRest;
        if (!std::exchange(rest.told, true)) {
            syslog(LOG_ERR, "%s: %s; conversions go on without it", failure.Details().what.c_str(),
                   failure.what());
        }
    }
}

std::string Bounded(std::string text) {
    text.resize(std::min(text.size(), kLongestText));
    return text;
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

// Failures of other tools say nothing about these. Where a fingerprint is unknown, the tools count
// as the same: otherwise an engine that does not answer would be asked to convert again and again.
bool AreOthers(const std::string& tools, const std::string& others) {
    return !tools.empty() && !others.empty() && tools != others;
}

Problem EarlierFailure(const Document& document) {
    return {Reason::kFailedBefore, "cannot convert " + document.sharePath,
            "an earlier attempt failed, and the document has not changed since", ""};
}

// Nothing is remembered: another program's mark may tell.
std::optional<Problem> ObstacleByMark(const Document& document, const char* product, Marks marks) {
    const bool isMarked = marks == Marks::kCount && product == std::string(kThumbnailProduct) &&
                          KeptProducts(document).ThumbnailHasFailed();
    return isMarked ? std::optional(EarlierFailure(document)) : std::nullopt;
}

std::optional<Problem> ObstacleBy(const std::vector<RememberedFailure>& failures,
                                  const Document& document, const char* product,
                                  const std::string& tools, int64_t now, Marks marks) {
    const int deaths = DeathsIn(failures, tools);
    const RememberedFailure* const row = DecidingFailure(failures, deaths, product);
    if (row == nullptr) {
        return ObstacleByMark(document, product, marks);
    }
    const Retry retry = RetryOf(*row, deaths, tools, now);
    if (retry.when == Retry::When::kNow) {
        return std::nullopt;
    }
    Problem problem = EarlierFailure(document);
    problem.why += ": " + row->why + "; " + retry.why;
    return problem;
}

RememberedFailure NewFailure(const std::string& product, const std::string& realPath,
                             const DocumentIdentity& identity, const Problem& problem,
                             int64_t now) {
    RememberedFailure failure;
    failure.product = product;
    failure.path = realPath;
    failure.document = identity;
    failure.reason = NameOf(problem.reason);
    failure.why = Bounded(problem.why);
    failure.said = Bounded(Joined(problem.toolOutput));
    failure.attempts = 1;
    failure.deaths = problem.reason == Reason::kWorkerDied ? 1 : 0;
    failure.first = now;
    failure.last = now;
    return failure;
}

void AddEarlier(RememberedFailure& latest, const RememberedFailure& earlier) {
    latest.attempts += earlier.attempts;
    latest.deaths += earlier.deaths;
    latest.first = std::min(latest.first, earlier.first);
    if (latest.tools.empty()) {
        latest.tools = earlier.tools;
    }
}

// A mark that stays would keep folder runs from trying the document again. Returns whether there
// was one.
bool RemoveMark(const std::string& realPath) {
    Document document{};
    document.realPath = realPath;
    return unlink(KeptProducts(document).MarkPath().c_str()) == 0;
}

}  // namespace

int DeathsIn(const std::vector<RememberedFailure>& failures, const std::string& tools) {
    const auto add = [&tools](int sum, const RememberedFailure& failure) {
        return sum + (AreOthers(failure.tools, tools) ? 0 : failure.deaths);
    };
    return std::accumulate(failures.begin(), failures.end(), 0, add);
}

const RememberedFailure* DecidingFailure(const std::vector<RememberedFailure>& failures, int deaths,
                                         const std::string& product) {
    const auto own = std::find_if(
        failures.begin(), failures.end(),
        [&product](const RememberedFailure& failure) { return failure.product == product; });
    if (own != failures.end()) {
        return &*own;
    }
    return deaths >= kDeathsPutAside ? &failures.front() : nullptr;
}

Retry RetryOf(const RememberedFailure& failure, int deaths, const std::string& tools, int64_t now) {
    if (AreOthers(failure.tools, tools)) {
        return {Retry::When::kNow, ""};
    }
    if (deaths >= kDeathsPutAside) {
        return {Retry::When::kIfChanged,
                std::to_string(deaths) + " worker processes have died of it, so it is put aside"};
    }
    if (failure.next == 0) {
        return {Retry::When::kIfChanged, "it is not tried again by itself"};
    }
    // A clock that was set back does not prolong the wait.
    if (now >= failure.next || now < failure.last) {
        return {Retry::When::kNow, ""};
    }
    return {Retry::When::kLater, "it is tried again after " + Date(failure.next)};
}

KnownFailures::KnownFailures(std::vector<RememberedFailure> failures, Tools tools)
    : _tools(std::move(tools)) {
    for (RememberedFailure& failure : failures) {
        failure.said.clear();
        const int64_t inode = failure.document.inode;
        _failures.emplace(inode, std::move(failure));
    }
}

std::string KnownFailures::CurrentTools() const {
    if (!_currentTools) {
        _currentTools = _tools();
    }
    return *_currentTools;
}

std::optional<Problem> KnownFailures::Obstacle(const Document& document, const char* product,
                                               int64_t now, Marks marks) const {
    if (product == nullptr) {
        return std::nullopt;
    }
    const auto identity = _failures.empty() ? std::nullopt : IdentityOf(document.realPath);
    std::vector<RememberedFailure> found;
    if (identity) {
        const auto [begin, end] = _failures.equal_range(identity->inode);
        for (auto entry = begin; entry != end; ++entry) {
            const RememberedFailure& failure = entry->second;
            if (failure.document == *identity &&
                (identity->IsUnique() || failure.path == document.realPath)) {
                found.push_back(failure);
            }
        }
    }
    return ObstacleBy(found, document, product, found.empty() ? "" : CurrentTools(), now, marks);
}

FailureMemory::FailureMemory(std::string file, Tools tools)
    : _file(std::move(file)), _tools(std::move(tools)) {}

std::optional<Problem> FailureMemory::Obstacle(const Document& document, const char* product,
                                               int64_t now, Marks marks) const {
    if (product == nullptr) {
        return std::nullopt;
    }
    std::vector<RememberedFailure> found;
    Try(_file, [&] { found = Of(document.realPath); });
    return ObstacleBy(found, document, product, found.empty() ? "" : _tools(), now, marks);
}

KnownFailures FailureMemory::Read() const {
    return {List("", 0), _tools};
}

void FailureMemory::NoteFailure(const Document& document, const DocumentIdentity& identity,
                                const char* product, const Problem& problem, int64_t now) const {
    if (product == nullptr || KindOf(problem) == FailureKind::kCircumstance) {
        return;
    }
    Try(_file, [&] {
        RememberedFailure latest = NewFailure(product, document.realPath, identity, problem, now);
        latest.tools = _tools();
        Remember(std::move(latest), KindOf(problem));
    });
}

void FailureMemory::Remember(RememberedFailure latest, FailureKind kind) const {
    FailureTable table(_file, Purpose::kChange, kRemember);
    FailureTable::Change change(table);
    int deathsOfOthers = 0;
    for (const RememberedFailure& earlier : table.Of(latest.path, latest.document)) {
        if (AreOthers(earlier.tools, latest.tools)) {
            continue;
        }
        if (earlier.product == latest.product) {
            AddEarlier(latest, earlier);
        } else {
            deathsOfOthers += earlier.deaths;
        }
    }
    const int deaths = latest.deaths + deathsOfOthers;
    latest.next = NextTry(kind, latest.attempts, deaths, latest.last);
    table.Put(latest);
    if (deaths >= kDeathsPutAside) {
        table.PutAside(latest);
    }
    change.Commit();
}

void FailureMemory::NoteSuccess(const Document& document, const DocumentIdentity& identity,
                                const char* product) const {
    if (product == nullptr || access(_file.c_str(), F_OK) != 0) {
        return;
    }
    Try(_file, [&] {
        RememberedFailure made;
        made.product = product;
        made.path = document.realPath;
        made.document = identity;
        FailureTable(_file, Purpose::kRead, kForget).Remove(made);
    });
}

std::vector<RememberedFailure> FailureMemory::Of(const std::string& realPath) const {
    const auto identity = IdentityOf(realPath);
    return identity ? FailureTable(_file, Purpose::kRead, kRead).Of(realPath, *identity)
                    : std::vector<RememberedFailure>();
}

std::vector<RememberedFailure> FailureMemory::List(const std::string& realPath,
                                                   int64_t limit) const {
    return FailureTable(_file, Purpose::kRead, kRead).List(realPath, limit);
}

void FailureMemory::NoteRenames(
    const std::vector<std::pair<std::string, std::string>>& renames) const {
    if (renames.empty() || access(_file.c_str(), F_OK) != 0) {
        return;
    }
    Try(_file, [&] {
        FailureTable table(_file, Purpose::kChange, kRemember);
        FailureTable::Change change(table);
        for (const auto& [from, to] : renames) {
            table.Rename(from, to);
        }
        change.Commit();
    });
}

std::vector<RememberedFailure> FailureMemory::Due(int64_t now, int64_t limit) const {
    std::vector<RememberedFailure> due;
    if (access(_file.c_str(), F_OK) == 0) {
        Try(_file, [&] { due = FailureTable(_file, Purpose::kRead, kRead).Due(now, limit); });
    }
    return due;
}

size_t FailureMemory::Forget(const std::vector<RememberedFailure>& failures) const {
    if (failures.empty()) {
        return 0;
    }
    FailureTable table(_file, Purpose::kChange, kForget);
    FailureTable::Change change(table);
    for (const RememberedFailure& failure : failures) {
        table.Remove(failure);
    }
    change.Commit();
    return failures.size();
}

size_t FailureMemory::Forget(const std::string& realPath) const {
    std::vector<RememberedFailure> failures = Of(realPath);
    for (RememberedFailure& failure : List(realPath, 0)) {
        const bool isKnown = std::any_of(failures.begin(), failures.end(), [&](const auto& known) {
            return known.product == failure.product;
        });
        if (failure.path == realPath && !isKnown) {
            failures.push_back(std::move(failure));
        }
    }
    const size_t forgotten = Forget(failures);
    const bool hadMark = RemoveMark(realPath);
    return forgotten == 0 && hadMark ? 1 : forgotten;
}

size_t FailureMemory::ForgetAll() const {
    const std::vector<RememberedFailure> failures = List("", 0);
    Forget(failures);
    for (const RememberedFailure& failure : failures) {
        RemoveMark(failure.path);
    }
    return failures.size();
}

std::vector<RememberedFailure> FailureMemory::Gone() const {
    std::vector<RememberedFailure> failures;
    Try(_file, [&] { failures = List("", 0); });
    std::erase_if(failures, [](const RememberedFailure& failure) {
        const auto now = IdentityOf(failure.path);
        return now ? *now == failure.document : errno != ENOENT && errno != ENOTDIR;
    });
    return failures;
}

}  // namespace vellumo::loader

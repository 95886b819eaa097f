// SPDX-License-Identifier: Apache-2.0
#include "convert/JobList.h"

#include <algorithm>
#include <memory>
#include <tuple>

#include "app/Reasons.h"

namespace vellumo::cli {
namespace {

using Clock = std::chrono::steady_clock;

// Every converted document is worth the same to its readers, so the gain per time is the largest
// where a conversion is short, and the size is all that is known of that beforehand. Small
// documents first also means that most people have what they want early in the night.
bool HasLessGain(const Job* first, const Job* second) {
    return std::tie(first->size, first->sharePath) > std::tie(second->size, second->sharePath);
}

// Goes on with `step` until it returns false, or `limit` is over; returns its last result.
template <typename Step>
bool Repeat(std::chrono::milliseconds limit, Step step) {
    const auto end = Clock::now() + limit;
    while (step()) {
        if (Clock::now() >= end) {
            return true;
        }
    }
    return false;
}

}  // namespace

Job& JobList::Add(const std::string& sharePath, size_t rank) {
    Job& job = _jobs.emplace_back();
    job.sharePath = sharePath;
    job.rank = rank;
    return job;
}

void JobList::Add(const std::vector<std::string>& sharePaths) {
    for (const std::string& sharePath : sharePaths) {
        Add(sharePath, 0);
    }
}

void JobList::Resolve(const std::string& user) {
    ForEachOpen([&user](Job& job) { job.Resolve(user); });
}

void JobList::ForEachOpen(const std::function<void(Job&)>& step) {
    for (Job& job : _jobs) {
        if (!job.IsOpen()) {
            continue;
        }
        if (const auto problem = ProblemOf([&] { step(job); })) {
            job.Fail(*problem);
        }
    }
}

void JobList::MakeReady() {
    for (Job& job : _jobs) {
        if (job.IsOpen()) {
            _ready.push_back(&job);
        } else {
            Account(job);
        }
    }
}

void JobList::AddFolders(const std::vector<std::string>& sharePaths, const std::string& user,
                         const FolderFilter& filter) {
    _filter = filter;
    for (const std::string& sharePath : sharePaths) {
        if (const auto problem = ProblemOf([&] { AddFolder(loader::Resolve(sharePath, user)); })) {
            Job& job = Add(sharePath, 2 * _tops.size());
            job.Fail(*problem);
            Account(job);
        }
    }
    DropContainedTops();
}

// Of "/docs /docs/sub", the second would convert its documents twice.
void JobList::DropContainedTops() {
    std::vector<loader::Document> kept;
    for (const loader::Document& top : _tops) {
        const auto contains = [&top](const loader::Document& other) {
            return (top.realPath + "/").starts_with(other.realPath + "/");
        };
        if (std::none_of(kept.begin(), kept.end(), contains)) {
            std::erase_if(kept, [&top](const loader::Document& other) {
                return other.realPath.starts_with(top.realPath + "/");
            });
            kept.push_back(top);
        }
    }
    _tops = std::move(kept);
}

void JobList::AddFolder(const loader::Document& folder) {
    if (IsFolder(folder)) {
        _tops.push_back(folder);
        return;
    }
    Job& job = Add(folder.sharePath, 2 * _tops.size());
    job.realPath = folder.realPath;
    job.size = loader::FactsOf(folder).size;
    _listed.push_back(&job);
    std::push_heap(_listed.begin(), _listed.end(), HasLessGain);
}

bool JobList::List(std::chrono::milliseconds limit) {
    return Repeat(limit, [this] { return ListOne(); });
}

bool JobList::Explore(std::chrono::milliseconds limit, const Examiner& examine) {
    return Repeat(limit, [&] {
        // A container that idles costs more than a better order.
        const bool isUrgent = _ready.empty() && !_listed.empty();
        if (!isUrgent && ListOne()) {
            return true;
        }
        if (!_listed.empty()) {
            ExamineOne(examine);
        }
        return !_listed.empty() || !IsListed();
    });
}

bool JobList::ListOne() {
    if (IsListed()) {
        return false;
    }
    if (!_walk) {
        _walk.emplace(_tops[_walked], _filter);
    }
    std::optional<FoundDocument> found;
    if (!_walk->Step(found)) {
        EndWalk();
    } else if (found) {
        Job& job = Add(found->sharePath, 2 * _walked + 1);
        job.realPath = std::move(found->realPath);
        job.size = found->size;
        _listed.push_back(&job);
        std::push_heap(_listed.begin(), _listed.end(), HasLessGain);
    }
    return true;
}

void JobList::EndWalk() {
    for (const Problem& problem : _walk->Unreadable()) {
        Job& job = Add(_tops[_walked].sharePath, 2 * _walked + 2);
        job.Fail(problem);
        Account(job);
    }
    _walk.reset();
    ++_walked;
}

void JobList::ExamineOne(const Examiner& examine) {
    std::pop_heap(_listed.begin(), _listed.end(), HasLessGain);
    Job& job = *_listed.back();
    _listed.pop_back();
    if (const auto problem = ProblemOf([&] { examine(job); })) {
        job.Fail(*problem);
    }
    job.realPath = {};
    if (job.IsOpen()) {
        _ready.push_back(&job);
    } else {
        Account(job);
    }
}

Job* JobList::Next() {
    if (_ready.empty()) {
        return nullptr;
    }
    Job* const job = _ready.front();
    _ready.pop_front();
    return job;
}

void JobList::Account(const Job& job) {
    _tally.Add(job.state);
    if (job.state == Job::State::kFailed && _tellFailure) {
        _tellFailure(job);
    }
}

void JobList::GiveUp(const Problem& problem) {
    const auto shared = std::make_shared<const Problem>(problem);
    for (Job& job : _jobs) {
        if (job.IsOpen()) {
            job.problem = shared;
            job.state = Job::State::kNotTried;
            Account(job);
        }
    }
}

void JobList::Sort() {
    std::stable_sort(_jobs.begin(), _jobs.end(), [](const Job& first, const Job& second) {
        return std::tie(first.rank, first.sharePath) < std::tie(second.rank, second.sharePath);
    });
}

bool JobList::HasOpen() const {
    return std::any_of(_jobs.begin(), _jobs.end(), [](const Job& job) { return job.IsOpen(); });
}

Tally JobList::Count() const {
    Tally tally = _tally;
    tally.total = _jobs.size();
    return tally;
}

}  // namespace vellumo::cli

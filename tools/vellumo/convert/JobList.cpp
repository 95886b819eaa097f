// SPDX-License-Identifier: Apache-2.0
#include "convert/JobList.h"

#include <algorithm>

#include "app/Reasons.h"
#include "documents/Folder.h"

namespace vellumo::cli {

void JobList::Add(const std::string& sharePath) {
    _jobs.emplace_back();
    _jobs.back().sharePath = sharePath;
}

void JobList::Add(const std::vector<std::string>& sharePaths) {
    for (const std::string& sharePath : sharePaths) {
        Add(sharePath);
    }
}

void JobList::AddFolders(const std::vector<std::string>& sharePaths, const std::string& user) {
    for (const std::string& sharePath : sharePaths) {
        if (const auto problem = ProblemOf([&] { AddFolder(loader::Resolve(sharePath, user)); })) {
            Add(sharePath);
            _jobs.back().Fail(*problem);
        }
    }
}

void JobList::AddFolder(const loader::Document& folder) {
    if (!IsFolder(folder)) {
        Add(folder.sharePath);
        return;
    }
    const FolderContents contents = ContentsOf(folder);
    Add(contents.documents);
    for (const Problem& problem : contents.unreadable) {
        Add(folder.sharePath);
        _jobs.back().Fail(problem);
    }
}

void JobList::Resolve(const std::string& user) {
    ForEachOpen([&user](Job& job) {
        job.document = loader::Resolve(job.sharePath, user);
        CheckConvertible(*job.document);
    });
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

void JobList::GiveUp(const Problem& problem) {
    for (Job& job : _jobs) {
        if (job.IsOpen()) {
            job.Fail(problem);
            job.state = Job::State::kNotTried;
        }
    }
}

Job* JobList::Next() {
    while (_next < _jobs.size()) {
        Job& job = _jobs[_next++];
        if (job.IsOpen()) {
            return &job;
        }
    }
    return nullptr;
}

bool JobList::HasOpen() const {
    return std::any_of(_jobs.begin(), _jobs.end(), [](const Job& job) { return job.IsOpen(); });
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_JOBLIST_H
#define VELLUMO_TOOLS_JOBLIST_H

#include <functional>
#include <string>
#include <vector>

#include "convert/Job.h"

namespace vellumo::cli {

// The jobs of one command, in the order in which they are converted.
class JobList {
public:
    // Adds one job for each path.
    void Add(const std::vector<std::string>& sharePaths);

    // Adds one job for each document in the folders `sharePaths` and below them, resolved for
    // `user`, and a failed job for each folder that cannot be read. A path of a document adds a job
    // for it.
    void AddFolders(const std::vector<std::string>& sharePaths, const std::string& user);

    // Resolves the documents for `user` and checks whether they can be converted.
    void Resolve(const std::string& user);

    // Calls `step` for every open job; a job whose step throws Failure has failed.
    void ForEachOpen(const std::function<void(Job&)>& step);

    // Ends every open job as not tried, because of `problem`.
    void GiveUp(const Problem& problem);

    bool HasOpen() const;

    // The next open job that was not returned before; null after the last one. It stays where it
    // is.
    Job* Next();

    const Jobs& All() const { return _jobs; }

private:
    void Add(const std::string& sharePath);
    void AddFolder(const loader::Document& folder);

    Jobs _jobs;
    size_t _next = 0;
};

}  // namespace vellumo::cli

#endif

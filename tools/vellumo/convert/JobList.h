// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_JOBLIST_H
#define VELLUMO_TOOLS_JOBLIST_H

#include <functional>
#include <string>
#include <vector>

#include "convert/Job.h"

namespace vellumo::cli {

// The jobs of one call, in the order in which they are worked on.
class JobList {
public:
    // One for each path.
    void Add(const std::vector<std::string>& sharePaths);

    // One for each document in the folders `sharePaths` of `user` and below them, and one for each
    // folder that cannot be looked through, which has failed. A document among the paths is one
    // more.
    void AddFolders(const std::vector<std::string>& sharePaths, const std::string& user);

    // Resolves the documents for `user` and looks whether they can be converted.
    void Resolve(const std::string& user);

    // Does `step` for every open job; one whose step fails has failed.
    void ForEachOpen(const std::function<void(Job&)>& step);

    // Ends every open job without having tried it.
    void GiveUp(const Problem& problem);

    bool HasOpen() const;

    const std::vector<Job>& All() const { return _jobs; }
    std::vector<Job>& All() { return _jobs; }

private:
    void Add(const std::string& sharePath);
    void AddFolder(const loader::Document& folder);

    std::vector<Job> _jobs;
};

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_JOBLIST_H
#define VELLUMO_TOOLS_JOBLIST_H

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "convert/Job.h"
#include "documents/Folder.h"

namespace vellumo::cli {

// The jobs of one command. Those of named documents are there at once; those of folders are found
// little by little, by Explore(), so that the first ones can be converted meanwhile.
class JobList {
public:
    // Adds one job for each path.
    void Add(const std::vector<std::string>& sharePaths);

    // Resolves the documents for `user` and checks whether they can be converted.
    void Resolve(const std::string& user);

    // Calls `step` for every open job; a job whose step throws Failure has failed.
    void ForEachOpen(const std::function<void(Job&)>& step);

    // Makes every open job ready for Next(), in their order.
    void MakeReady();

    // The folders `sharePaths`, resolved for `user`, are to be explored: one job for each document
    // in them and below them that `filter` admits, and a failed job for each folder that cannot be
    // read. A path of a document becomes one job.
    void AddFolders(const std::vector<std::string>& sharePaths, const std::string& user,
                    const FolderFilter& filter);

    // Ends a job for which there is nothing to do; called with the real path alone in its document.
    // Throws Failure for a job that has failed.
    using Examiner = std::function<void(Job&)>;

    // Lists documents in the folders for at most `limit`; false when all are listed.
    bool List(std::chrono::milliseconds limit);

    // Lists and examines documents for at most `limit`, so that there are jobs for Next(); false
    // when there is nothing left to explore.
    bool Explore(std::chrono::milliseconds limit, const Examiner& examine);

    // Whether all documents are listed.
    bool IsListed() const { return _walked == _tops.size(); }

    // The ready job with the largest gain; null when none is ready. It stays where it is.
    Job* Next();
    bool HasReady() const { return !_ready.empty(); }

    // Counts a job that Next() has returned and that has ended.
    void Account(const Job& job);

    // `tell` is called for every job that fails from now on, when it is counted.
    void TellFailures(std::function<void(const Job&)> tell) { _tellFailure = std::move(tell); }

    // Ends every open job as not tried, because of `problem`.
    void GiveUp(const Problem& problem);

    // Sorts the jobs of folders by their paths. No job may run.
    void Sort();

    bool HasOpen() const;
    const Jobs& All() const { return _jobs; }

    // What has become of the jobs so far.
    Tally Count() const;

private:
    Job& Add(const std::string& sharePath, size_t rank);
    void AddFolder(const loader::Document& folder);
    void DropContainedTops();
    bool ListOne();
    void EndWalk();
    void ExamineOne(const Examiner& examine);

    Jobs _jobs;
    FolderFilter _filter;
    std::vector<loader::Document> _tops;
    size_t _walked = 0;  // tops
    std::optional<FolderWalk> _walk;
    std::vector<Job*> _listed;  // a heap, the largest gain on top
    std::deque<Job*> _ready;
    Tally _tally;
    std::function<void(const Job&)> _tellFailure;
};

}  // namespace vellumo::cli

#endif

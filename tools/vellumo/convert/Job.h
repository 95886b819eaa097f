// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_JOB_H
#define VELLUMO_TOOLS_JOB_H

#include <deque>
#include <memory>
#include <string>

#include "app/Messages.h"
#include "loader/documents/Document.h"

namespace vellumo::cli {

// One document that a command converts, and what has become of it.
struct Job {
    enum class State {
        kOpen,
        kConverted,
        kFresh,    // found in the cache
        kPlanned,  // would be converted, were it no dry run
        kFailed,   // tried, or not worth trying
        kNotTried  // the whole command could not go on
    };

    std::string sharePath;
    std::unique_ptr<loader::Document> document;  // from Resolve() until the job has ended
    std::string realPath;                        // of a folder's document, until it is examined
    off_t size = 0;                              // of a folder's document
    size_t rank = 0;                             // results are sorted by it, then by the share path
    std::string output;  // absolute path for the product; "" when it is only kept
    std::string kept;    // path of the kept product; "" when none is kept
    State state = State::kOpen;
    std::shared_ptr<const Problem> problem;  // why there is no product; null when there is one
    double seconds = 0;

    bool IsOpen() const { return state == State::kOpen; }
    bool IsDone() const { return state == State::kConverted || state == State::kFresh; }
    void Fail(Problem why) {
        state = State::kFailed;
        problem = std::make_shared<const Problem>(std::move(why));
    }

    // Resolves the share path for `user`. Throws Failure when the document cannot be converted.
    void Resolve(const std::string& user);
};

// Jobs that stay where they are when others are added.
using Jobs = std::deque<Job>;

// How many documents of a command have ended, and how.
struct Tally {
    size_t total = 0;
    size_t converted = 0;
    size_t fresh = 0;
    size_t planned = 0;
    size_t failed = 0;
    size_t notTried = 0;

    static Tally Of(const Jobs& jobs);

    // Counts a job that has ended in `state`.
    void Add(Job::State state);

    size_t Ended() const { return converted + fresh + planned + failed + notTried; }
};

// The progress for people: "8 done, 1 failed, 4.1 per minute, 12 min left". `begun`: the tally when
// the conversions began, `seconds` ago.
std::string Pace(const Tally& begun, const Tally& now, double seconds);

}  // namespace vellumo::cli

#endif

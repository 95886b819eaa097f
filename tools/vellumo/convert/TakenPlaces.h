// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_TAKENPLACES_H
#define VELLUMO_TOOLS_TAKENPLACES_H

#include <sys/types.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "convert/Job.h"

namespace vellumo::cli {

// The places that no output of a call may go to, whatever --force says: the call's documents, and
// the outputs that are given out already.
class TakenPlaces {
public:
    // `jobs` as they are now; they outlive the object.
    explicit TakenPlaces(const std::vector<Job>& jobs);

    // Makes `path`, an absolute path, the output of `job`. Throws Failure when it is taken.
    void Take(const std::string& path, const Job& job);

private:
    using FileId = std::pair<dev_t, ino_t>;

    std::map<FileId, const Job*> _documents;
    std::map<std::string, const Job*> _outputs;
};

}  // namespace vellumo::cli

#endif

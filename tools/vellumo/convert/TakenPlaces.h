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

// The paths that a command must not write to, even with --force: its documents, and outputs that
// are already assigned to another document.
class TakenPlaces {
public:
    // Reads `jobs` once; they are not owned and outlive the object.
    explicit TakenPlaces(const Jobs& jobs);

    // Assigns the absolute path `path` to `job` as its output. Throws Failure when it is taken.
    void Take(const std::string& path, const Job& job);

private:
    using FileId = std::pair<dev_t, ino_t>;

    std::map<FileId, const Job*> _documents;
    std::map<std::string, const Job*> _outputs;
};

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_FAILUREFILE_H
#define VELLUMO_TOOLS_FAILUREFILE_H

#include <string>

#include "convert/Job.h"
#include "support/Descriptor.h"

namespace vellumo::cli {

// A file that lists the failed jobs while others still run: one JSON object a line.
class FailureFile {
public:
    // Creates the file `path` with mode 0600, since names of documents are nobody else's business.
    // Throws Failure when that fails, or when there is a file or link of this name: it may be a
    // document, or another user's trap.
    explicit FailureFile(const std::string& path);

    // Appends `job`, which has failed, in one write. Throws Failure when that fails.
    void Add(const Job& job) const;

private:
    std::string _path;
    support::Descriptor _file;
};

}  // namespace vellumo::cli

#endif

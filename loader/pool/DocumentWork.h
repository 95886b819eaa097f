// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_DOCUMENTWORK_H
#define VELLUMO_LOADER_DOCUMENTWORK_H

#include <string>
#include <vector>

#include "loader/documents/Document.h"

namespace vellumo::loader {

// A job of the pool that converts a document, or its kept PDF.
struct DocumentJob {
    bool runs = false;      // else it waits
    std::string obstacle;   // for a job that waits: what for, as "2 of 2 containers busy"
    std::string container;  // for a job that runs; "" when it cannot be found out
};

// Who works on a document now.
struct DocumentWork {
    std::vector<std::string> making;  // the products that are marked as being made
    // The jobs. Found by their scratch files, which are links to the document: where the document
    // lies on another volume than the scratch files, they are copies, and no job is found.
    std::vector<DocumentJob> jobs;
    bool IsAny() const { return !making.empty() || !jobs.empty(); }
};

// Reads the state file, for whose lock it waits for at most a second. Throws Failure when that
// fails. Needs the rights of root.
DocumentWork WorkOn(const Document& document);

}  // namespace vellumo::loader

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_EXPLANATION_H
#define VELLUMO_LOADER_EXPLANATION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "loader/Problem.h"
#include "loader/documents/Document.h"
#include "loader/failures/FailureMemory.h"
#include "loader/pool/DocumentWork.h"

namespace vellumo::loader {

// A product of a document: is it there, and what is remembered of it.
struct ProductState {
    enum class Kept { kNot, kStale, kFresh };
    const char* product = kPdfProduct;  // "pdf" or "thumbnail"
    Kept kept = Kept::kNot;
    std::string path;  // where it lies, or would lie; "" when the document can have none
    std::optional<RememberedFailure> failure;
    Retry retry{};          // what follows from `failure`, or from a document that is put aside
    bool isMarked = false;  // another program has marked that the thumbnail failed
};

// All that is known about one document. What cannot be found out is a problem of its own, and the
// rest is there all the same.
struct Explanation {
    std::string sharePath;
    std::optional<Document> document;        // null when the share path cannot be resolved
    std::optional<Problem> refusal;          // why nothing converts it
    std::vector<ProductState> products;      // empty when there is no document
    std::optional<DocumentWork> work;        // null when it cannot be read
    std::vector<std::string> queuedThrough;  // queued paths: the document's, or a folder's above
    std::vector<Problem> problems;           // of the server: what could not be found out, and why
};

// Finds out all about the document at `sharePath`. Changes nothing. Needs the rights of root.
Explanation Explain(const std::string& sharePath, const std::string& user, int64_t now);

}  // namespace vellumo::loader

#endif

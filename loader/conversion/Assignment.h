// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_ASSIGNMENT_H
#define VELLUMO_LOADER_ASSIGNMENT_H

#include <string>

#include "loader/documents/Document.h"
#include "vellumo/ContainerPoolManager.h"

namespace vellumo::loader {

// What to make from a document.
struct Assignment {
    enum class Service {
        kPdf,        // a PDF in the scratch directory
        kCachedPdf,  // a PDF kept for the document; the program collects (BulkCollection)
        kThumbnail   // a thumbnail kept for the document
    };
    Service service;
    const char* pages = nullptr;  // for kPdf: a page range, not owned; null: the whole document

    // The priority of its jobs in the pool.
    NAVO::VELLUMO::ContainerPoolManager::Priority Priority() const;

    // The name of the stream in which its product is kept; null when it is not kept.
    const char* Stream() const;

    // How `document` is converted. Its type must be one that can be converted.
    const Way& WayFor(const Document& document) const;

    // The programs that may run for `document`, for the message of a failure: "unoconv or convert".
    std::string ToolsFor(const Document& document) const;
};

}  // namespace vellumo::loader

#endif

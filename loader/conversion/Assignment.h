// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_ASSIGNMENT_H
#define VELLUMO_LOADER_ASSIGNMENT_H

#include <string>

#include "loader/documents/Document.h"
#include "vellumo/ContainerPoolManager.h"

namespace vellumo::loader {

// What is to be made of a document.
struct Assignment {
    enum class Service {
        kPdf,        // a PDF in the scratch directory
        kCachedPdf,  // a PDF kept for the document
        kThumbnail   // a thumbnail kept for the document
    };
    Service service;
    const char* pages = nullptr;  // for kPdf: a page range, null for the whole document

    // How urgent its jobs are.
    NAVO::VELLUMO::ContainerPoolManager::Priority Priority() const;

    // The name under which its product is kept, null when it is not kept.
    const char* Stream() const;

    // How `document`, which a converter takes, is converted.
    const Way& WayFor(const Document& document) const;

    // The programs that it takes for `document`, one of which has failed, for people.
    std::string ToolsFor(const Document& document) const;
};

}  // namespace vellumo::loader

#endif

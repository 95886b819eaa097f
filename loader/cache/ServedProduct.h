// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_SERVEDPRODUCT_H
#define VELLUMO_LOADER_SERVEDPRODUCT_H

#include <sys/stat.h>

#include <optional>
#include <string>

#include "loader/documents/Document.h"
#include "support/Descriptor.h"
#include "vellumo/CacheManager.h"

namespace vellumo::loader {

// A kept product for one user, open for reading.
struct ServedProduct {
    support::Descriptor file;
    struct stat product {};
    struct stat document {};
};

// Opens the kept product `stream` of `document` for `document.user`, and records the access in the
// index. What was checked is what is served: the product belongs to the very file that the user may
// read, whoever exchanges files meanwhile. Returns nothing when that file has no product that is up
// to date. Throws Failure when the user may not read the document (see CheckAccess, which also
// describes `address`, and what it does to the process's ids).
std::optional<ServedProduct> OpenServed(const Document& document, const std::string& stream,
                                        NAVO::VELLUMO::CacheManager& cache,
                                        const std::string& address = "");

}  // namespace vellumo::loader

#endif

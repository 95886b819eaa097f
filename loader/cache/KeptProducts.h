// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_KEPTPRODUCTS_H
#define VELLUMO_LOADER_KEPTPRODUCTS_H

#include <ctime>
#include <memory>
#include <string>

#include "loader/documents/Document.h"
#include "vellumo/CacheManager.h"

namespace vellumo::loader {

// The products kept of one document: their paths, and whether they are still up to date.
//
// The index of the cache knows when a document has changed, but not every product is in the index.
// So a product that is older than its document counts as out of date too, unless the document's
// time lies in the future, where it proves nothing.
class KeptProducts {
public:
    // `document` is not owned and outlives the object. Only its real path is used.
    explicit KeptProducts(const Document& document);

    // The path of the product `stream` (SZK_THUMB_PDF_TYPE or SZK_THUMB_TYPE), whether it exists or
    // not; "" when the document can have none.
    std::string PathOf(const std::string& stream) const;

    // Whether the file `path` is missing, or older than the document.
    bool IsOutOfDate(const std::string& path) const;

    // Whether the product `stream` exists and is up to date. Does not count as an access.
    bool IsFresh(const std::string& stream, NAVO::VELLUMO::CacheManager& cache) const;

    // Whether a thumbnail has failed since the document last changed.
    bool ThumbnailHasFailed() const;

    // Whether the PDF or the thumbnail exists, fresh or not.
    bool HasAny() const;

    // Removes the products of an older version of the document.
    void RemoveStale(NAVO::VELLUMO::CacheManager& cache) const;

    // Removes all products, and the mark of a failed thumbnail. Returns how many products there
    // were; a thumbnail and its mark count as one.
    size_t RemoveAll(NAVO::VELLUMO::CacheManager& cache) const;

    // Removes the product `stream`, and with the thumbnail the mark of its failure. Returns whether
    // there was anything to remove.
    bool Remove(const std::string& stream, NAVO::VELLUMO::CacheManager& cache) const;

    // The path of the file that marks a failed thumbnail; "" when the document can have none.
    std::string MarkPath() const;

private:
    const std::string& Target() const { return _document.realPath; }
    const Document& _document;
};

// Whether a product with the modification time `product` is older than its document, and the
// document's time does not lie in the future.
bool IsOutOfDate(const timespec& product, const timespec& document);

// Opens the cache for lookups and removals, without its garbage collection. Throws Failure, with
// `what` as its Problem::what, when the index cannot be opened.
std::unique_ptr<NAVO::VELLUMO::CacheManager> OpenCache(const std::string& what);

}  // namespace vellumo::loader

#endif

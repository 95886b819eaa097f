// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_KEPTPRODUCTS_H
#define VELLUMO_LOADER_KEPTPRODUCTS_H

#include <memory>
#include <string>

#include "loader/documents/Document.h"
#include "vellumo/CacheManager.h"

namespace vellumo::loader {

// The products that are kept beside `document`: where they lie, and whether they are still its own.
//
// The index of the cache knows when a document has changed, but not every product is in the index:
// one that is older than its document is not taken for its own either, unless the document's time
// lies in the future and says nothing.
class KeptProducts {
public:
    explicit KeptProducts(const Document& document);

    // `stream`: SZK_THUMB_PDF_TYPE or SZK_THUMB_TYPE. "" when the document can have none.
    std::string PathOf(const std::string& stream) const;

    // Whether the file `path` is missing, or older than the document.
    bool IsOutOfDate(const std::string& path) const;

    // Whether there is one that is not out of date. Notes no access.
    bool IsFresh(const std::string& stream, NAVO::VELLUMO::CacheManager& cache) const;

    // Whether making the thumbnail has failed since the document was last changed.
    bool ThumbnailHasFailed() const;

    // Removes the products of an older version of the document.
    void RemoveStale(NAVO::VELLUMO::CacheManager& cache) const;

    // Removes everything that is kept, the mark of a failed thumbnail included. Returns how many
    // files that were.
    size_t RemoveAll(NAVO::VELLUMO::CacheManager& cache) const;

    // Removes one product, and with the thumbnail the mark of its failure. Returns whether there
    // was any.
    bool Remove(const std::string& stream, NAVO::VELLUMO::CacheManager& cache) const;

    // Where the mark of a failed thumbnail lies.
    std::string MarkPath() const;

private:
    const std::string& Target() const { return _document.realPath; }
    const Document& _document;
};

// The cache, for looking and removing: nothing is collected. Throws Failure (`what` being what
// failed then) when its index cannot be opened.
std::unique_ptr<NAVO::VELLUMO::CacheManager> OpenCache(const std::string& what);

}  // namespace vellumo::loader

#endif

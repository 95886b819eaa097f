// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/ServedProduct.h"

#include <fcntl.h>

#include "loader/cache/KeptProducts.h"
#include "loader/documents/Access.h"

namespace vellumo::loader {
namespace {

// Users can put nothing into the directory; this only makes sure that what is there is a product.
std::optional<ServedProduct> OpenProduct(const std::string& path) {
    ServedProduct served;
    served.file = support::Descriptor(
        open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    const bool isProduct = served.file && fstat(served.file.Get(), &served.product) == 0 &&
                           S_ISREG(served.product.st_mode) && served.product.st_nlink == 1;
    return isProduct ? std::optional(std::move(served)) : std::nullopt;
}

}  // namespace

std::optional<ServedProduct> OpenServed(const Document& document, const std::string& stream,
                                        NAVO::VELLUMO::CacheManager& cache,
                                        const std::string& address) {
    const OpenedPlace checked = OpenFor(document, address);
    const std::string directory = DirectoryOfChecked(document, checked);
    auto served = directory.empty() ? std::nullopt : OpenProduct(directory + '/' + stream);
    if (!served || IsOutOfDate(served->product.st_mtim, checked.Status().st_mtim) ||
        cache.IsTargetModified(document.realPath)) {
        return std::nullopt;
    }
    served->document = checked.Status();
    cache.UpdateCache(document.realPath, stream);
    return served;
}

}  // namespace vellumo::loader

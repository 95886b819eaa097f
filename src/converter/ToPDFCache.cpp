// SPDX-License-Identifier: Apache-2.0
#include "common/Log.h"
#include "common/ResultCode.h"
#include "converter/ConvertingManager.h"
#include "converter/Pinned.h"
#include "converter/ScratchFiles.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Constants.h"
#include "vellumo/Converter.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO::converter {
namespace {

constexpr const char* kSource = "Converter";
constexpr long kCacheSizeLimit = 1073741824;  // 1 GiB

// A conversion's product on its way into the cache. Removes it when the cache did not take it.
class ScratchProduct {
public:
    ScratchProduct() = default;
    ~ScratchProduct() {
        const std::string path = output.GetRealPath("");
        if (!path.empty()) {
            RemoveFileDropCache(path);
        }
    }
    ScratchProduct(const ScratchProduct&) = delete;
    ScratchProduct& operator=(const ScratchProduct&) = delete;

    path::Path output;
};

void Keep(CacheManager& cache, const path::Path& product, const path::Path& source,
          const Pinned& pinned) {
    if (!cache.opened) {
        log::Error(kSource, 375, "CacheManager's DB is broken");
        return;
    }
    const std::string productPath = product.GetRealPath("");
    const std::string document = source.GetRealPath("");
    if (!SetIn(cache, pinned.Directory(), productPath, document, SZK_THUMB_PDF_TYPE, true)) {
        log::Error(kSource, 379, "Failed to cache (%s : %s, type: %s)", productPath.c_str(),
                   document.c_str(), SZK_THUMB_PDF_TYPE);
    }
}

int ConvertAndKeep(const path::Path& source, bool collects) {
    ConvertingManager converting(source.GetRealPath("") + ":origin");
    CacheManager cache(collects, kCacheSizeLimit);
    if (!converting.Insert() && !converting.WaitUntilGone()) {
        return kResultSuccess;
    }
    const Pinned pinned(source);
    const ScratchLease lease;
    ScratchProduct product;
    const int result = ToPDF(pinned.Source(), product.output, nullptr);
    if (result == kResultSuccess) {
        Keep(cache, product.output, source, pinned);
    }
    return result;
}

}  // namespace

int ToPDFCache(const path::Path& source) {
    return ConvertAndKeep(source, true);
}

int ToPDFCacheWithoutCollection(const path::Path& source) {
    return ConvertAndKeep(source, false);
}

}  // namespace NAVO::VELLUMO::converter

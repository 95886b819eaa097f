// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/KeptProducts.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <optional>
#include <tuple>

#include "loader/Problem.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;

constexpr const char* kMarkSuffix = ".err.0063";

std::optional<timespec> TimeOf(const std::string& path) {
    struct stat status {};
    return !path.empty() && stat(path.c_str(), &status) == 0 ? std::optional(status.st_mtim)
                                                             : std::nullopt;
}

bool IsBefore(const timespec& first, const timespec& second) {
    return std::tie(first.tv_sec, first.tv_nsec) < std::tie(second.tv_sec, second.tv_nsec);
}

bool Exists(const std::string& path) {
    return TimeOf(path).has_value();
}

}  // namespace

KeptProducts::KeptProducts(const Document& document) : _document(document) {}

std::string KeptProducts::PathOf(const std::string& stream) const {
    return StreamPath(_document, stream);
}

std::string KeptProducts::MarkPath() const {
    const std::string thumbnail = PathOf(core::SZK_THUMB_TYPE);
    return thumbnail.empty() ? "" : thumbnail + kMarkSuffix;
}

bool KeptProducts::IsOutOfDate(const std::string& path) const {
    const auto product = TimeOf(path);
    const auto document = TimeOf(Target());
    return !product || !document || loader::IsOutOfDate(*product, *document);
}

bool KeptProducts::IsFresh(const std::string& stream, core::CacheManager& cache) const {
    return !IsOutOfDate(PathOf(stream)) && !cache.IsTargetModified(Target());
}

bool KeptProducts::ThumbnailHasFailed() const {
    return !IsOutOfDate(MarkPath());
}

bool KeptProducts::HasAny() const {
    return Exists(PathOf(core::SZK_THUMB_PDF_TYPE)) || Exists(PathOf(core::SZK_THUMB_TYPE));
}

void KeptProducts::RemoveStale(core::CacheManager& cache) const {
    if (cache.IsTargetModified(Target())) {
        RemoveAll(cache);
        return;
    }
    for (const char* stream : {core::SZK_THUMB_PDF_TYPE, core::SZK_THUMB_TYPE}) {
        const std::string path = PathOf(stream);
        if (Exists(path) && IsOutOfDate(path)) {
            cache.Remove(Target(), stream);
        }
    }
}

bool KeptProducts::Remove(const std::string& stream, core::CacheManager& cache) const {
    bool any = false;
    if (stream == core::SZK_THUMB_TYPE) {
        any = unlink(MarkPath().c_str()) == 0;
    }
    if (Exists(PathOf(stream))) {
        any = cache.Remove(Target(), stream) || any;
    }
    return any;
}

size_t KeptProducts::RemoveAll(core::CacheManager& cache) const {
    size_t removed = 0;
    for (const char* stream : {core::SZK_THUMB_PDF_TYPE, core::SZK_THUMB_TYPE}) {
        removed += Remove(stream, cache) ? 1U : 0U;
    }
    cache.CleanCacheInDB(Target());
    return removed;
}

bool IsOutOfDate(const timespec& product, const timespec& document) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return IsBefore(product, document) && !IsBefore(now, document);
}

std::unique_ptr<core::CacheManager> OpenCache(const std::string& what) {
    auto cache = std::make_unique<core::CacheManager>(false, 0);
    if (!cache->opened) {
        throw Failure({Reason::kIndexUnopenable, what,
                       std::string("the index of the cache, ") + core::SZF_CACHE_DB_PATH +
                           ", cannot be opened",
                       "The system log has the reason. A damaged index may be removed: the "
                       "products themselves are still found."});
    }
    return cache;
}

}  // namespace vellumo::loader

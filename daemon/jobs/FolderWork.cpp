// SPDX-License-Identifier: Apache-2.0
#include "jobs/FolderWork.h"

#include <sys/stat.h>

#include "loader/cache/CacheIndex.h"
#include "loader/cache/KeptProducts.h"
#include "vellumo/Constants.h"

namespace vellumo::daemon {
namespace {

namespace core = NAVO::VELLUMO;
using loader::Operation;

constexpr size_t kEntriesInAStep = 100;
constexpr size_t kRemovalsInAStep = 20;
constexpr const char* kWhat = "cannot look through a folder";

bool Exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

loader::Document DocumentAt(const std::string& path) {
    loader::Document document{};
    document.realPath = path;
    return document;
}

}  // namespace

FolderWork::FolderWork(const std::string& folder, Task task, const DaemonSettings& settings)
    : FolderWork(watch::TreeScan({folder}), std::move(task), settings) {}

FolderWork::FolderWork(watch::TreeScan scan, Task task, const DaemonSettings& settings)
    : _task(std::move(task)), _settings(settings), _scan(std::move(scan)) {}

void FolderWork::Close(const std::string& realPath) {
    _open.erase(realPath);
    _openBefore.erase(realPath);
}

std::optional<std::string> FolderWork::TakeCheckpoint() {
    std::optional<std::string> reached;
    if (_checkpoint && _openBefore.empty()) {
        reached = std::move(_checkpoint);
        _checkpoint.reset();
    }
    if (!_checkpoint) {
        _checkpoint = _scan.Checkpoint();
        _openBefore = _open;
    }
    return reached;
}

bool FolderWork::Step(const std::function<void(const std::string& realPath)>& found) {
    if (RemoveIndexed()) {
        return true;
    }
    const auto cache = loader::OpenCache(kWhat);  // first: without it, what the step finds is lost
    std::vector<watch::TreeScan::File> files;
    const bool goesOn = _scan.Step(kEntriesInAStep, files);
    for (const watch::TreeScan::File& file : files) {
        if (_task.operation == Operation::kRemove) {
            Remove(file.path, *cache);
        } else if (_settings.Wants(file.path) && NeedsProducts(file.path, *cache)) {
            found(file.path);
        }
    }
    return goesOn;
}

// The index also knows documents that are gone.
bool FolderWork::List() {
    const bool removesAll = _task.operation == Operation::kRemove;
    if (_isListed || (!removesAll && _task.operation != Operation::kReindex)) {
        return false;
    }
    for (const loader::IndexedStream& stream :
         loader::CacheIndex(kWhat).Streams(_scan.Tops().front())) {
        const bool isNew = _indexed.empty() || _indexed.back() != stream.target;
        if (isNew && (removesAll || !Exists(stream.target))) {
            _indexed.push_back(stream.target);
        }
    }
    if (removesAll) {
        _indexed.push_back(_scan.Tops().front());  // when it is a document without a row
    }
    _isListed = true;
    return true;
}

// False when nothing is left to remove.
bool FolderWork::RemoveIndexed() {
    if (_indexed.empty()) {
        return false;
    }
    const auto cache = loader::OpenCache(kWhat);
    for (size_t removed = 0; removed < kRemovalsInAStep && !_indexed.empty(); ++removed) {
        // Some programs remove a document when they save it, and write it anew.
        if (_task.operation == Operation::kRemove || !Exists(_indexed.back())) {
            Remove(_indexed.back(), *cache);
        }
        _indexed.pop_back();
    }
    return true;
}

void FolderWork::Remove(const std::string& path, core::CacheManager& cache) const {
    const loader::Document document = DocumentAt(path);
    const loader::KeptProducts kept(document);
    if (_task.products == loader::Products::kBoth) {
        kept.RemoveAll(cache);
    } else {
        kept.Remove(WantsPdf(_task.products) ? core::SZK_THUMB_PDF_TYPE : core::SZK_THUMB_TYPE,
                    cache);
    }
}

bool FolderWork::NeedsProducts(const std::string& path, core::CacheManager& cache) const {
    const loader::Document document = DocumentAt(path);
    const loader::KeptProducts kept(document);
    return (WantsPdf(_task.products) && !kept.IsFresh(core::SZK_THUMB_PDF_TYPE, cache)) ||
           (WantsThumbnail(_task.products) && !kept.IsFresh(core::SZK_THUMB_TYPE, cache));
}

}  // namespace vellumo::daemon

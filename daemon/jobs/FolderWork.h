// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_FOLDERWORK_H
#define VELLUMO_DAEMON_FOLDERWORK_H

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/DaemonSettings.h"
#include "daemon/watch/TreeScan.h"
#include "jobs/Item.h"
#include "vellumo/CacheManager.h"

namespace vellumo::daemon {

// One operation on folders and all that is below them, in small steps: documents without products
// are found, or products are removed. Also the removal for one document, which may be gone.
class FolderWork {
public:
    struct Task {
        loader::Operation operation = loader::Operation::kConvert;
        loader::Products products = loader::Products::kBoth;
        Lane lane = Lane::kFound;        // of the documents that are found
        std::vector<std::string> ids{};  // the rows of the queue that ask for it
    };

    // `settings` is not owned and outlives the object; what they exclude is not found.
    FolderWork(const std::string& folder, Task task, const DaemonSettings& settings);

    // Finds documents as `scan` finds files.
    FolderWork(watch::TreeScan scan, Task task, const DaemonSettings& settings);

    // Lists the products that the task wants removed; false when it has done so before, or wants
    // none removed. A document that is gone by then may have been renamed only: let what is kept of
    // it follow before Step() removes that. Throws as Step().
    bool List();

    // Goes on for a few milliseconds; false when the work has ended. Calls `found` for each
    // document of which products are missing or out of date. Throws loader::Failure when the index
    // of the cache cannot be used.
    bool Step(const std::function<void(const std::string& realPath)>& found);

    // Documents that were found and are not closed yet. The work is done when it has ended and
    // there are none.
    void Open(const std::string& realPath) { _open.insert(realPath); }
    void Close(const std::string& realPath);
    bool HasOpen() const { return !_open.empty(); }

    // A checkpoint of the scan (see watch::TreeScan) before which no document is open, so that a
    // process that continues there misses none; nothing when there is no new one. Call it from time
    // to time.
    std::optional<std::string> TakeCheckpoint();

    // Folders that are looked through already may have changed since.
    void GoRoundAgain() { _scan.GoRoundAgain(); }

    const Task& What() const { return _task; }
    const std::vector<std::string>& Tops() const { return _scan.Tops(); }

    // The folder in which the work is now.
    const std::string& Folder() const { return _scan.Folder(); }

private:
    bool RemoveIndexed();
    bool NeedsProducts(const std::string& path, NAVO::VELLUMO::CacheManager& cache) const;
    void Remove(const std::string& path, NAVO::VELLUMO::CacheManager& cache) const;

    Task _task;
    const DaemonSettings& _settings;
    bool _isListed = false;
    std::vector<std::string> _indexed;  // documents whose products are still to be removed
    watch::TreeScan _scan;
    std::set<std::string> _open;
    std::optional<std::string> _checkpoint;
    std::set<std::string> _openBefore;  // the open ones that were found before the checkpoint
};

}  // namespace vellumo::daemon

#endif

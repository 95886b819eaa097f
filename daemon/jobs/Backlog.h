// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_BACKLOG_H
#define VELLUMO_DAEMON_BACKLOG_H

#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "app/DaemonSettings.h"
#include "jobs/Agenda.h"
#include "jobs/DocumentJob.h"
#include "jobs/FolderWork.h"
#include "jobs/IndexQueue.h"
#include "jobs/TaskQueue.h"

namespace vellumo::daemon {

// All that is still to be done: what programs have queued, what has changed, and what walks through
// folders find. It keeps a few hundred documents in memory. Everything else stays where it is: in
// the queue, in the indexing queue, in the folders. So nothing is lost when the daemon dies, and
// the next one takes it from there.
class Backlog {
public:
    // `settings` is not owned and outlives the object. `followRenames` lets what is kept of
    // documents follow renames that are known and not followed yet.
    Backlog(const DaemonSettings& settings, std::function<void()> followRenames);

    // Looks for work, for a few milliseconds at most. Throws loader::Failure when the index of the
    // cache cannot be used; call it again later.
    void Look();

    // Whether Look() has more to do at once.
    bool IsBusy() const;

    // Takes the next document of the most urgent lane, up to and with `last`.
    std::optional<Item> Take(Lane last) { return _agenda.Take(last); }
    std::optional<Lane> MostUrgent() const { return _agenda.MostUrgent(); }

    // The work on `item`, which Take() has returned, has ended.
    void Close(const Item& item, Outcome outcome);

    // The same for an item that nobody can be blamed for: it comes again, after those that wait.
    void GiveBack(const Item& item);

    // The document at `realPath` has changed.
    void NoteChange(const std::string& realPath);

    // The document at `realPath` may be tried again.
    void NoteFound(const std::string& realPath);

    // Whether more documents may be found or noted now.
    bool HasRoom(Lane lane) const { return _agenda.Count(lane) < kMostAhead; }

    // Looks through a folder for documents without products, in the lane kFound. Where somebody
    // looks through it already, that goes round again, because it has passed some documents.
    void LookThrough(const std::string& folder);

    // The same for all shares, one scan at a time.
    void LookThroughAll(watch::TreeScan scan);

    // Makes that scan go round again. False when none looks through folders any more, even if
    // documents that the last one has found are not done yet.
    bool LookThroughAllAgain();

    // That work, until all documents that it has found are done; then null.
    FolderWork* WholeScan() const { return _wholeScan; }

    // Documents that wait in the lane, in memory.
    size_t Count(Lane lane) const { return _agenda.Count(lane); }
    std::optional<int64_t> Queued() const { return _tasks.Count(); }
    size_t DeferredCount() const { return _deferred.size(); }

    // The folder that is looked through now; "" when none is.
    std::string Folder() const;

private:
    using Clock = std::chrono::steady_clock;
    static constexpr size_t kMostAhead = 200;

    struct Deferred {
        Item item;
        Clock::time_point due;
    };

    void LookThrough(watch::TreeScan scan);
    void TakeTasks(TaskQueue::Kind kind, size_t count);
    void Accept(const QueuedTask& task);
    void TakeIndexQueue();
    void TakeDue();
    FolderWork* NextFolder();
    void Walk();
    void EndWalk(const FolderWork& work);
    void Found(FolderWork& work, const std::string& realPath);
    void FinishEnded();
    void CloseFound(const std::string& realPath);
    void Defer(Item item);

    const DaemonSettings& _settings;
    std::function<void()> _followRenames;
    Agenda _agenda;
    TaskQueue _tasks;
    IndexQueue _index;
    std::list<FolderWork> _folders;
    std::list<FolderWork> _ended;  // their documents are not all done yet
    FolderWork* _wholeScan = nullptr;
    std::vector<Deferred> _deferred;
    std::map<std::string, int> _attempts;  // of deferred documents, by real path
    Clock::time_point _looked;
};

}  // namespace vellumo::daemon

#endif

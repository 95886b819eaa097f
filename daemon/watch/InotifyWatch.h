// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_INOTIFYWATCH_H
#define VELLUMO_WATCH_INOTIFYWATCH_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "daemon/watch/Findings.h"
#include "daemon/watch/FolderListing.h"
#include "daemon/watch/FolderTree.h"
#include "daemon/watch/Roots.h"
#include "daemon/watch/TreeWatch.h"
#include "support/Descriptor.h"

struct inotify_event;

namespace vellumo::watch {

// Watches each folder by inotify; works without any right but that to read the folders. A new
// folder is watched first and then told as kRescan, so nothing in it is missed.
//
// The kernel limits the folders that the processes of a user may watch together
// (fs.inotify.max_user_watches). A folder that is beyond the limit is given back by
// TakeUnwatched(). A file system whose changes other machines make does not tell about those.
class InotifyWatch : public TreeWatch {
public:
    // Returns null, with errno, when the kernel has no more instances for this user.
    static std::unique_ptr<InotifyWatch> Start(const Roots& roots);

    int Descriptor() const override { return _poll.Get(); }
    Changes Take() override;
    bool IsReady() const override { return _isReady; }
    std::vector<std::string> TakeUnwatched() override;

    // How many folders are watched.
    size_t Count() const { return _tree.Size(); }

private:
    using Time = std::chrono::steady_clock::time_point;

    // A folder that is to be watched: an entry of a watched folder, or a root.
    struct Waiting {
        int parent;
        std::string name;
    };
    // A folder whose entries are looked through for folders.
    struct Listed {
        int number;
        FolderListing listing;
    };
    // One half of a move; the other follows soon, unless it lies outside of what is watched.
    struct HalfMove {
        std::string from;
        int number;  // of a folder, or kNone
        bool isFolder;
        Time since;
    };

    explicit InotifyWatch(Roots roots) : _roots(std::move(roots)) {}

    bool Open();
    bool StartAnew();
    void ReadEvents(Findings& findings);
    void Examine(const inotify_event& event, const std::string& name, Findings& findings);
    void ExamineFolder(const inotify_event& event, const std::string& name, Findings& findings);
    void FinishMove(const inotify_event& event, const std::string& name, Findings& findings);
    void GiveUpHalfMoves(Time before, Findings& findings);
    void Forget(int number);
    void LookForFolders(Findings& findings);
    void Watch(const Waiting& waiting, Findings& findings);
    void Arm();

    Roots _roots;
    support::Descriptor _poll;  // of the two below
    support::Descriptor _events;
    support::Descriptor _timer;
    FolderTree _tree;
    std::vector<Waiting> _waiting;
    std::optional<Listed> _listed;
    std::unordered_map<uint32_t, HalfMove> _halfMoves;  // by the cookie of both halves
    std::vector<std::string> _unwatched;
    bool _isReady = false;
};

}  // namespace vellumo::watch

#endif

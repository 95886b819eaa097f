// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_SCANWATCH_H
#define VELLUMO_WATCH_SCANWATCH_H

#include <sys/stat.h>

#include <chrono>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "daemon/watch/Findings.h"
#include "daemon/watch/FolderListing.h"
#include "daemon/watch/Roots.h"
#include "daemon/watch/TreeWatch.h"
#include "support/Descriptor.h"

namespace vellumo::watch {

// Watches folders by looking at them again and again, for file systems of whose changes the kernel
// does not tell, and for folders beyond a limit of the kernel.
//
// A quick pass looks at the modification time of each folder, which tells of new, renamed and
// removed entries, and lists only the folders that have changed. A full pass, which is slower and
// rarer, lists all folders and so finds files that were written in place. A renamed folder is
// recognised by its inode number. Removed files and renames of single files are not told. Nothing
// is kept for a file, and one small record for each folder.
//
// A folder on a server that does not answer holds up the caller.
class ScanWatch : public TreeWatch {
public:
    struct Pace {
        std::chrono::milliseconds between = std::chrono::seconds(30);  // two passes
        std::chrono::milliseconds full = std::chrono::hours(24);       // two full passes
        std::chrono::milliseconds pause{10};                           // two steps of a quick pass
        std::chrono::milliseconds fullPause{50};                       // two steps of a full pass
        std::chrono::milliseconds step{5};                             // of work
    };

    // Returns null, with errno, when the process has no more file descriptors.
    static std::unique_ptr<ScanWatch> Start(const Roots& roots, const Pace& pace);

    int Descriptor() const override { return _timer.Get(); }
    Changes Take() override;
    bool IsReady() const override { return _isReady; }

    // Watches one more folder, with those below it, until it is gone. When it has looked at all of
    // them for the first time, it tells kRescan for them. `remains`: waits for a folder of that
    // path to come back, as it does for the roots given to Start().
    void Add(const std::string& root, bool remains);

    // How many folders were given, and how many are watched.
    size_t Tops() const { return _roots.Own().size(); }
    size_t Count() const { return _known.size(); }

private:
    using Time = std::chrono::steady_clock::time_point;

    struct Known {
        ino_t inode = 0;
        timespec modified{};  // at the last listing
        timespec newest{};    // the latest change of a file's status at the last listing
        bool isListed = false;
        bool remains = false;
        // The folder is listed once more in the next pass: it may have changed again within the
        // same tick of the file system's clock.
        bool isFresh = false;
    };
    using Folders =
        std::map<std::string, Known>;  // in an order in which a folder precedes those in it

    ScanWatch(Roots roots, const Pace& pace);

    void Step(Findings& findings);
    bool VisitNext(Findings& findings);
    void Visit(Folders::iterator folder, Findings& findings);
    void Lose(Folders::iterator folder, Findings& findings);
    static Known Unseen(const Known& known);
    void EndPass();
    void Examine(const FolderListing::Entry& entry, Findings& findings);
    void ExamineFolder(const std::string& path, ino_t inode, Findings& findings);
    void EndListing(Findings& findings);
    void Forget(const std::string& path);
    void Rename(const std::string& from, const std::string& path);
    void Sleep(std::chrono::milliseconds time);

    Roots _roots;
    Pace _pace;
    support::Descriptor _timer;
    Folders _known;
    std::unordered_map<ino_t, std::string> _paths;  // of the known folders by inode
    std::string _at;                                // the folder that was visited last in this pass
    std::optional<FolderListing> _listing;          // of that folder
    Known _listed;                                  // what the listing finds out about it
    timespec _tellFrom{};                           // files with changes from then on are told
    bool _isFull = true;
    bool _isReady = false;
    Time _nextFull;
};

}  // namespace vellumo::watch

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_TREESCAN_H
#define VELLUMO_WATCH_TREESCAN_H

#include <sys/stat.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "daemon/watch/FolderListing.h"

namespace vellumo::watch {

// A walk through folders and all folders below them that finds every file that a converter takes.
// It goes in small steps, can be continued after a restart, and needs little memory however many
// files there are. It passes over what loader/documents/FolderRules.h says, follows no symbolic
// link, and leaves out paths that are longer than the kernel takes (4,095 bytes).
//
// Folders may change, move and vanish meanwhile. A file that exists all the time at one path is
// found once. (A folder in which many new ones appear may be listed again for its subfolders, not
// for its files.)
//
// One thread uses an object. A step waits only for the file system.
class TreeScan {
public:
    struct File {
        std::string path;
        struct stat status;  // of a regular file
    };

    // `tops`: real paths of folders, without a slash at the end. One that lies in another is
    // looked through with that.
    explicit TreeScan(std::vector<std::string> tops);

    // Continues the scan that Checkpoint() described. Since nobody knows what has changed meanwhile
    // in the folders before that place, the scan goes on to the end and then once more from the
    // beginning to that place. Nothing for a text that is damaged.
    static std::optional<TreeScan> Continue(const std::string& checkpoint);

    // Looks at `entries` entries of folders at most, and appends the files among them to `found`.
    // Returns false when the scan has ended.
    bool Step(size_t entries, std::vector<File>& found);

    // A text of some lines that tells the tops and the present place.
    std::string Checkpoint() const;

    // Something may have changed in the folders before the present place too: they are looked
    // through once more after the others.
    void GoRoundAgain();

    // The folders that are looked through.
    const std::vector<std::string>& Tops() const { return _tops; }

    // The folder in which the scan is now; "" before the first one and after the last one.
    const std::string& Folder() const { return _folder; }

private:
    // A folder, and its subfolders that are still to be looked through.
    struct Level {
        std::string folder;
        std::set<std::string> names;
        std::string from;  // names before this one are left out
        bool hasMore;      // there are more names than `names` has
    };

    bool OpenNext();
    bool OpenNextTop();
    void Open(const std::string& folder);
    void Examine(const FolderListing::Entry& entry, std::vector<File>& found);
    void AddFolder(const std::string& name);
    void AddFile(const std::string& name, std::vector<File>& found) const;
    const std::string& TopOf(const std::string& folder) const;

    std::vector<std::string> _tops;
    size_t _nextTop = 0;
    std::vector<Level> _levels;             // from a top to the folder that is listed
    std::optional<FolderListing> _listing;  // of the last level's folder
    bool _withFiles = true;                 // else only its subfolders are of interest
    std::string _folder;
    std::string _start;  // where the first round begins; "" for the first top
    std::string _end;    // where the second round ends; "" when there is none
    bool _isSecondRound = false;
};

}  // namespace vellumo::watch

#endif

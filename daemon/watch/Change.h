// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_CHANGE_H
#define VELLUMO_WATCH_CHANGE_H

#include <string>
#include <vector>

namespace vellumo::watch {

// Something that seems to have happened below a watched root. A change is a hint: by the time
// somebody reads it, the path may belong to another file or to none, and a change may be told
// twice. Whoever acts on it examines what is at the path now.
struct Change {
    enum class Kind {
        kChanged,  // `path` is a new file, or its content was written
        kGone,     // the file or folder `path` was removed, or moved out of what is watched; of
                   // what was in the folder nothing need be told
        kMoved,    // the file or folder `from` has the name `path` now
        kRescan    // anything may have happened in the folder `path` and below it
    };

    Kind kind;
    std::string path;       // absolute; no component is a symbolic link
    std::string from{};     // the same, of kMoved
    bool isFolder = false;  // of kGone and kMoved; kRescan is always about a folder

    bool operator==(const Change&) const = default;
};

using Changes = std::vector<Change>;

}  // namespace vellumo::watch

#endif

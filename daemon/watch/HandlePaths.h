// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_HANDLEPATHS_H
#define VELLUMO_WATCH_HANDLEPATHS_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "daemon/watch/Roots.h"
#include "support/Descriptor.h"

namespace vellumo::watch {

// The paths of folders of which only the handles are known, as events of fanotify have them.
class HandlePaths {
public:
    // `roots` outlives the object.
    explicit HandlePaths(const Roots& roots) : _roots(roots) {}

    // Folders on the file system of `root`, which is open, are found from now on.
    void AddRoot(support::Descriptor root);

    // Returns the path of the folder with the handle (the bytes of a struct file_handle) if it is a
    // root or lies below one, else "". Remembers paths until Forget() is called, so that many
    // events in one folder cost little; a removed folder is found only while it is remembered.
    const std::string& PathOf(const std::string& handle);

    // A folder was renamed: every path may be another one.
    void Forget() { _paths.clear(); }

private:
    struct Mount {
        uint64_t id;
        support::Descriptor opened;  // a directory on it
    };

    std::string Find(const std::string& handle) const;

    const Roots& _roots;
    std::vector<Mount> _mounts;
    std::unordered_map<std::string, std::string> _paths;
};

}  // namespace vellumo::watch

#endif

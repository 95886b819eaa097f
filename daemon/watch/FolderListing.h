// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_FOLDERLISTING_H
#define VELLUMO_WATCH_FOLDERLISTING_H

#include <dirent.h>

#include <memory>
#include <string>
#include <string_view>

#include "support/Descriptor.h"

namespace vellumo::watch {

// Opens the folder `path`, which is `root` or lies below it. Follows no symbolic link below the
// root, whoever puts one there meanwhile. Returns an empty descriptor, with errno, on failure. The
// path may be longer than the kernel takes at once.
support::Descriptor OpenBelow(std::string_view root, std::string_view path);

// The entries of a folder one by one, so that a large folder can be listed in small steps.
class FolderListing {
public:
    struct Entry {
        enum class Type { kFolder, kFile, kOther };
        std::string name;
        Type type = Type::kOther;
    };

    // Takes over `folder`. An empty descriptor makes an empty listing.
    explicit FolderListing(support::Descriptor folder);

    // Sets `entry` to the next entry, without "." and ".."; false at the end, and when the folder
    // cannot be read any further.
    bool Next(Entry& entry);

    // The folder's descriptor; -1 for an empty listing. It belongs to the object.
    int Folder() const { return _entries ? dirfd(_entries.get()) : -1; }

private:
    struct Closer {
        void operator()(DIR* directory) const { closedir(directory); }
    };
    std::unique_ptr<DIR, Closer> _entries;
};

}  // namespace vellumo::watch

#endif

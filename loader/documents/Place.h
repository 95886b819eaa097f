// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_PLACE_H
#define VELLUMO_LOADER_PLACE_H

#include <sys/stat.h>

#include <string>

#include "support/Descriptor.h"

namespace vellumo::loader {

// Where a share path leads. Whoever may write to the share can put a link there at any moment, so
// the path is opened in one step that cannot leave the root, and all questions about the file are
// put to what was opened.
struct Place {
    enum class Links { kNone, kInside, kAnywhere };

    std::string root;  // the directory that the path must not leave: the share's, or one home
    std::string path;  // below the root; "" for the root itself
    Links links = Links::kInside;  // the symbolic links on the way that are followed
};

// What to do with a symbolic link at the end of the path.
enum class LastLink { kOpened, kFollowed };

// How the kernel finds a path beneath a directory. kByWalk is for a kernel before 5.6, or a sandbox
// that forbids the call: without it, links are followed first, and what was reached is refused when
// it does not lie beneath the root.
enum class Lookup { kByKernel, kByWalk };

// A file, opened only to be examined: that blocks on no pipe and wakes no device.
class OpenedPlace {
public:
    // Returns what is at `place`; an object without a file when it cannot be reached.
    static OpenedPlace Open(const Place& place, LastLink last, Lookup lookup = Lookup::kByKernel);

    explicit operator bool() const { return _error == 0; }

    // Why there is no file, as in errno. EXDEV: the path leads out of the root. ELOOP: it has a
    // link although the place follows none, or too many.
    int Error() const { return _error; }

    const struct stat& Status() const { return _status; }

    // Whether the effective ids of the process may read the file. They were needed already to get
    // there, so this counts no folder.
    bool IsReadable() const;

    // For calls that take a descriptor of a file that is not open.
    const support::Descriptor& File() const { return _file; }

    // A path of this very file for calls that take no descriptor; valid while the object lives.
    std::string Name() const;

private:
    OpenedPlace() = default;

    support::Descriptor _file;
    struct stat _status {};
    int _error = 0;
};

}  // namespace vellumo::loader

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SCRATCH_MEMORYDIRECTORY_H
#define VELLUMO_ENGINE_SCRATCH_MEMORYDIRECTORY_H

#include <sys/types.h>

#include <string>

namespace vellumo::engine {

// A file system in memory of at most 768 MiB and 20,000 files, mounted on a directory. The kernel
// keeps the limits whatever a command does: files that it has removed but still has open count too.
// Only this process and its children see the mount, and it ends with them.
class MemoryDirectory {
public:
    // Mounts it on the directory `path`; its root belongs to `owner` alone. Gives this process
    // mounts of its own, which follow those of the machine. Throws Failure when it cannot be
    // mounted.
    MemoryDirectory(std::string path, uid_t owner);
    ~MemoryDirectory();
    MemoryDirectory(const MemoryDirectory&) = delete;
    MemoryDirectory& operator=(const MemoryDirectory&) = delete;

    // Whether a limit has been reached.
    bool IsFull() const;

private:
    std::string _path;
};

}  // namespace vellumo::engine

#endif

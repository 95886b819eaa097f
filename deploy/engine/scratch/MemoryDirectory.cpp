// SPDX-License-Identifier: Apache-2.0
#include "scratch/MemoryDirectory.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <utility>

#include "Failure.h"

namespace vellumo::engine {

MemoryDirectory::MemoryDirectory(std::string path, uid_t owner) : _path(std::move(path)) {
    const std::string options = "size=768m,nr_inodes=20000,mode=0700,uid=" + std::to_string(owner) +
                                ",gid=" + std::to_string(owner);
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0 ||
        mount("vellumo", _path.c_str(), "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC,
              options.c_str()) != 0) {
        const int error = errno;
        throw SystemFailure(
            "cannot mount a file system in memory for the product; run the engine as root", error);
    }
}

MemoryDirectory::~MemoryDirectory() {
    umount2(_path.c_str(), MNT_DETACH);
}

bool MemoryDirectory::IsFull() const {
    struct statvfs space {};
    return statvfs(_path.c_str(), &space) == 0 && (space.f_bfree == 0 || space.f_ffree == 0);
}

}  // namespace vellumo::engine

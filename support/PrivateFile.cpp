// SPDX-License-Identifier: Apache-2.0
#include "support/PrivateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace vellumo::support {
namespace {

constexpr mode_t kPermissionBits = 07777;
constexpr mode_t kOthers = S_IRWXG | S_IRWXO;

}  // namespace

std::string PathOf(const Descriptor& file) {
    return "/proc/self/fd/" + std::to_string(file.Get());
}

bool RemovePermissions(const Descriptor& file, mode_t bits) {
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) {
        return false;
    }
    if (status.st_uid != geteuid() || (status.st_mode & bits) == 0) {
        return true;
    }
    return chmod(PathOf(file).c_str(), status.st_mode & kPermissionBits & ~bits) == 0;
}

void KeepForOwner(const std::string& path) {
    const int error = errno;
    const Descriptor file(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (file) {
        RemovePermissions(file, kOthers);
    }
    errno = error;
}

void EnsurePrivateFile(const std::string& path) {
    const int error = errno;
    // Creates the file without opening it: closing a database's file would release the locks that
    // SQLite holds for this process.
    mknod(path.c_str(), S_IFREG | S_IRUSR | S_IWUSR, 0);
    errno = error;
    KeepForOwner(path);
}

}  // namespace vellumo::support

// SPDX-License-Identifier: Apache-2.0
#include "directory.h"

#include <fcntl.h>
#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fail.h"

namespace NAVO::platform {
namespace {

bool IsDirectory(const std::string& path, Links links) {
    const int flags = links == Links::Refused ? AT_SYMLINK_NOFOLLOW : 0;
    struct stat status {};
    return fstatat(AT_FDCWD, path.c_str(), &status, flags) == 0 && S_ISDIR(status.st_mode);
}

// Does not follow links: a user who may write to the parent could have replaced the new directory
// with a link, to make root change the owner of another file.
bool SetAttributes(const std::string& path, const DirectoryAttributes& attributes) {
    const bool keepsOwner = attributes.owner == UID_ERR && attributes.group == UID_ERR;
    if (!keepsOwner && lchown(path.c_str(), attributes.owner, attributes.group) != 0) {
        return false;
    }
    // mkdir alone does not set the exact mode: the umask removes bits, and a set-group-id parent
    // adds one.
    return fchmodat(AT_FDCWD, path.c_str(), attributes.mode, AT_SYMLINK_NOFOLLOW) == 0;
}

bool EnsureParents(const std::string& path, const DirectoryAttributes& attributes) {
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        if (!EnsureDirectory(path.substr(0, end), attributes)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool EnsureDirectory(const std::string& path, const DirectoryAttributes& attributes, Links links) {
    if (mkdir(path.c_str(), attributes.mode) != 0) {
        if (errno != EEXIST) {
            return false;
        }
        // It existed, or another process has created it just now.
        errno = ENOTDIR;
        return IsDirectory(path, links);
    }
    if (SetAttributes(path, attributes)) {
        return true;
    }
    const int error = errno;
    rmdir(path.c_str());  // if this fails too, the first error is the one to report
    errno = error;
    return false;
}

}  // namespace NAVO::platform

int NAVOFSMkdirP(const char* path, const char* reserved, BOOL parents, uid_t owner, gid_t group,
                 mode_t mode) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    if (path == nullptr || *path != '/' || reserved != nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const NAVO::platform::DirectoryAttributes attributes{mode, owner, group};
    if (parents != FALSE && !NAVO::platform::EnsureParents(path, attributes)) {
        return Fail(NAVO_ERR_IO);
    }
    return NAVO::platform::EnsureDirectory(path, attributes) ? 0 : Fail(NAVO_ERR_IO);
}

// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <navo/file.h>
#include <sys/stat.h>

#include <optional>

#include "fail.h"
#include "parameters.h"
#include "readrights.h"
#include "streamtree.h"
#include "support/Descriptor.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::Uninterrupted;

constexpr mode_t kNewFileMode = 0600;  // who may open a file may also lock it

// Examines the file at `path`. Returns nothing when there is no file or it cannot be examined.
std::optional<struct stat> Look(const char* path) {
    if (IsEmpty(path)) {
        Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
        return std::nullopt;
    }
    struct stat status {};
    if (stat(path, &status) == 0) {
        return status;
    }
    if (errno != ENOENT && errno != ENOTDIR) {
        Fail(NAVO_ERR_NO_PERMISSION);
    }
    return std::nullopt;
}

// Does not open the file for writing: its owner may touch a read-only file, and opening a pipe
// would block.
int SetTimes(const char* path) {
    return utimensat(AT_FDCWD, path, nullptr, 0);
}

int Create(const char* path) {
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC;
    const Descriptor file(Uninterrupted([=] { return open(path, flags, kNewFileMode); }));
    return file ? 0 : -1;
}

int Touch(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0) {
        return errno == ENOENT ? Create(path) : -1;
    }
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        return -1;
    }
    const int touched = SetTimes(path);
    return touched != 0 && errno == ENOENT ? Create(path) : touched;
}

}  // namespace
}  // namespace NAVO::platform

BOOL NLIBCFileExist(const char* path) {
    return NAVO::platform::Look(path) ? TRUE : FALSE;
}

BOOL NLIBCFileCheckDir(const char* path) {
    std::optional<NAVO::platform::ReadRights> rights;
    if (NAVO::platform::ParseStreamDirectory(path)) {
        rights.emplace();
    }
    const auto status = NAVO::platform::Look(path);
    return status && S_ISDIR(status->st_mode) ? TRUE : FALSE;
}

int NLIBCFileStat(const char* path, int followLinks, struct stat* status) {
    using NAVO::platform::Fail;
    if (NAVO::platform::IsEmpty(path) || status == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    struct stat found {};
    if ((followLinks != 0 ? stat(path, &found) : lstat(path, &found)) != 0) {
        return Fail(errno == EACCES ? NAVO_ERR_NO_PERMISSION : NAVO_ERR_IO);
    }
    *status = found;
    return 0;
}

int NLIBCFileTouch(const char* path) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (NAVO::platform::IsEmpty(path)) {
        return NAVO::platform::Fail(NAVO_ERR_OPEN_FAILED, EINVAL);
    }
    return NAVO::platform::Touch(path) == 0 ? 0 : NAVO::platform::Fail(NAVO_ERR_OPEN_FAILED);
}

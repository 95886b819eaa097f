// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <navo/ea.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "fail.h"
#include "readrights.h"
#include "streamfolders.h"
#include "streamtree.h"
#include "support/Directory.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::NamesIn;
using vellumo::support::OpenDirectory;
using vellumo::support::RemoveContents;

constexpr int kFlags = 1;  // the only value of NAVOEAMKDir's and NAVOEARMDir's flags

// Copies `path` into `buffer`. Returns 0, or -1 when it does not fit.
int Give(const std::string& path, char* buffer, size_t size) {
    if (path.size() >= size) {
        return Fail(NAVO_ERR_NAME_TOO_LONG, ENAMETOOLONG);
    }
    buffer[path.copy(buffer, path.size())] = '\0';
    return 0;
}

// The identity of a file that is gone, if there is just one directory of its name.
FileIdentity LastIdentity(const StreamDirectory& place) {
    FileIdentity last;
    size_t count = 0;
    for (const std::string& name : NamesIn(OpenDirectory(place.Parent()))) {
        const auto found = ParseName(place, name);
        if (found && found->key == place.key) {
            last = found->identity;
            ++count;
        }
    }
    return count == 1 ? last : FileIdentity();
}

// Sets `directory` to the directory of the file's streams. Returns 0, or -1 with the last error.
int Find(const char* file, std::string& directory) {
    const SuccessKeepsErrno success;
    const ReadRights rights;
    StreamDirectory place = PlaceFor(file);
    if (!IsUsable(place.tree)) {
        return Fail(NAVO_ERR_NO_PERMISSION);
    }
    if (const auto identity = IdentityOf(AT_FDCWD, file)) {
        place.identity = *identity;
    } else if (errno == ENOENT || errno == ENOTDIR) {
        place.identity = LastIdentity(place);
    } else {
        return Fail(errno == ENAMETOOLONG ? NAVO_ERR_NAME_TOO_LONG : NAVO_ERR_NO_PERMISSION);
    }
    directory = place.Path();
    return 0;
}

bool Make(const StreamDirectory& place) {
    const Descriptor folder = OpenOrMakeFolder(place);
    return folder && OpenOrMake(folder, place.Name()) && RemoveOthers(folder, place);
}

}  // namespace
}  // namespace NAVO::platform

int NAVOEADirPath(int flags, const char* path, char* buffer, size_t size) {
    using NAVO::platform::Fail;
    if (flags != 0 || !NAVO::platform::IsFilePath(path) || buffer == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    std::string directory;
    const int found = NAVO::platform::Find(path, directory);
    return found == 0 ? NAVO::platform::Give(directory, buffer, size) : found;
}

int NAVOEAPath(int flags, const char* path, const char* stream, char* buffer, size_t size,
               int reserved) {
    using NAVO::platform::Fail;
    if (flags != 0 || reserved != 0 || !NAVO::platform::IsFilePath(path) || stream == nullptr ||
        buffer == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    if (*stream != '\0' && !NAVO::platform::IsName(stream)) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    std::string result;
    const int found = NAVO::platform::Find(path, result);
    if (*stream != '\0') {
        result.append("/").append(stream);
    }
    return found == 0 ? NAVO::platform::Give(result, buffer, size) : found;
}

int NAVOEADirPathOfFile(int file, const char* path, char* buffer, size_t size) {
    using NAVO::platform::Fail;
    if (!NAVO::platform::IsFilePath(path) || buffer == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const NAVO::platform::SuccessKeepsErrno success;
    NAVO::platform::StreamDirectory place = NAVO::platform::PlaceFor(path);
    const auto identity = NAVO::platform::IdentityOf(file);
    if (!identity || !NAVO::platform::IsUsable(place.tree)) {
        return Fail(NAVO_ERR_NO_PERMISSION);
    }
    place.identity = *identity;
    return NAVO::platform::Give(place.Path(), buffer, size);
}

int NAVOEAMKDir(int flags, const char* directory) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    const auto place = NAVO::platform::ParseStreamDirectory(directory);
    if (flags != NAVO::platform::kFlags || !place) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    for (int i = 0; i < NAVO::platform::kTries; ++i) {
        if (NAVO::platform::Make(*place)) {
            return 0;
        }
        if (errno != ENOENT) {
            break;
        }
    }
    return Fail(NAVO_ERR_IO);
}

int NAVOEARMDir(int flags, const char* directory) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    const auto place = NAVO::platform::ParseStreamDirectory(directory);
    if (flags != NAVO::platform::kFlags || !place) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const std::string path = place->Path();
    if (!NAVO::platform::IsUsable(place->tree)) {
        return Fail(NAVO_ERR_IO);
    }
    const auto opened = NAVO::platform::OpenDirectory(path);
    if (!opened) {
        return errno == ENOENT ? 0 : Fail(NAVO_ERR_IO);
    }
    if (!NAVO::platform::RemoveContents(opened) || rmdir(path.c_str()) != 0) {
        return Fail(NAVO_ERR_IO);
    }
    NAVO::platform::RemoveEmptyFolders(*place);
    return 0;
}

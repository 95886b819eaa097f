// SPDX-License-Identifier: Apache-2.0
#include <navo/ea.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "directory.h"
#include "fail.h"

namespace NAVO::platform {
namespace {

constexpr std::string_view kDirectoryName = ".navoea";
constexpr mode_t kDirectoryMode = 0755;
constexpr int kMakeFlags = 1;  // the only value of NAVOEAMKDir's flags

bool HasParentComponent(std::string_view path) {
    while (!path.empty()) {
        const size_t end = std::min(path.find('/'), path.size());
        if (path.substr(0, end) == "..") {
            return true;
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return false;
}

std::string_view LastComponent(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

// The folder of an absolute path, with its slash at the end.
std::string_view Folder(std::string_view path) {
    return path.substr(0, path.rfind('/') + 1);
}

// Whether `text` names an entry of a directory: neither the directory itself nor a path out of it.
bool IsName(std::string_view text) {
    return !text.empty() && text != "." && text != ".." && text.find('/') == std::string_view::npos;
}

bool IsFilePath(const char* path) {
    return path != nullptr && *path == '/' && IsName(LastComponent(path)) &&
           !HasParentComponent(path);
}

std::string DirectoryOf(std::string_view file) {
    return std::string(Folder(file)).append(kDirectoryName).append("/").append(LastComponent(file));
}

// Copies `path` into `buffer`. Returns 0, or -1 when it does not fit.
int Give(const std::string& path, char* buffer, size_t size) {
    if (path.size() >= size) {
        return Fail(NAVO_ERR_NAME_TOO_LONG, ENAMETOOLONG);
    }
    buffer[path.copy(buffer, path.size())] = '\0';
    return 0;
}

// Returns the parent of the extended-attribute directory `directory`; "" when `directory` is not
// the path of such a directory.
std::string_view ParentOf(const char* directory) {
    if (!IsFilePath(directory)) {
        return {};
    }
    const std::string_view folder = Folder(directory);
    const std::string_view parent = folder.substr(0, folder.size() - 1);
    return LastComponent(parent) == kDirectoryName ? parent : std::string_view();
}

}  // namespace
}  // namespace NAVO::platform

int NAVOEADirPath(int flags, const char* path, char* buffer, size_t size) {
    using NAVO::platform::Fail;
    if (flags != 0 || !NAVO::platform::IsFilePath(path) || buffer == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    return NAVO::platform::Give(NAVO::platform::DirectoryOf(path), buffer, size);
}

int NAVOEAPath(int flags, const char* path, const char* stream, char* buffer, size_t size,
               int reserved) {
    using NAVO::platform::Fail;
    if (flags != 0 || reserved != 0 || !NAVO::platform::IsFilePath(path) || stream == nullptr ||
        buffer == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    std::string result = NAVO::platform::DirectoryOf(path);
    if (*stream != '\0') {
        if (!NAVO::platform::IsName(stream)) {
            return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
        }
        result.append("/").append(stream);
    }
    return NAVO::platform::Give(result, buffer, size);
}

int NAVOEAMKDir(int flags, const char* directory) {
    using NAVO::platform::EnsureDirectory;
    using NAVO::platform::Fail;
    using NAVO::platform::Links;
    const NAVO::platform::SuccessKeepsErrno success;
    const std::string parent(NAVO::platform::ParentOf(directory));
    if (flags != NAVO::platform::kMakeFlags || parent.empty()) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    // Callers are root and create this in folders where users may write: a link that a user has put
    // in the place of either directory must not lead root to another directory.
    const NAVO::platform::DirectoryAttributes attributes{NAVO::platform::kDirectoryMode, geteuid(),
                                                         getegid()};
    const bool made = EnsureDirectory(parent, attributes, Links::Refused) &&
                      EnsureDirectory(directory, attributes, Links::Refused);
    return made ? 0 : Fail(NAVO_ERR_IO);
}

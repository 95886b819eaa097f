// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <navo/ea.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "fail.h"
#include "streamtree.h"
#include "support/FileCopy.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::OpenRegularFile;

constexpr size_t kBlock = size_t{256} * 1024;  // bytes that are compared at a time

bool HaveSameBytes(const Descriptor& one, const Descriptor& other, off_t size) {
    std::vector<char> left(kBlock);
    std::vector<char> right(kBlock);
    for (off_t at = 0; at < size;) {
        const ssize_t got = pread(one.Get(), left.data(), left.size(), at);
        const auto length = static_cast<size_t>(got);
        if (got <= 0 || pread(other.Get(), right.data(), length, at) != got ||
            std::memcmp(left.data(), right.data(), length) != 0) {
            return false;
        }
        at += got;
    }
    return true;
}

bool IsCopy(const Descriptor& one, const Descriptor& other) {
    struct stat left {};
    struct stat right {};
    return fstat(one.Get(), &left) == 0 && fstat(other.Get(), &right) == 0 &&
           left.st_size == right.st_size && HaveSameBytes(one, other, left.st_size);
}

bool HasContent(const FileIdentity& identity, const char* path, const char* copy) {
    if (IdentityOf(AT_FDCWD, copy) == identity) {
        return true;
    }
    const Descriptor file = OpenRegularFile(path);
    const Descriptor copied = OpenRegularFile(copy);
    return file && copied && IdentityOf(file.Get()) == identity && IsCopy(file, copied);
}

}  // namespace
}  // namespace NAVO::platform

BOOL NAVOEAHasContent(const char* directory, const char* path, const char* copy) {
    const NAVO::platform::SuccessKeepsErrno success;
    const auto place = NAVO::platform::ParseStreamDirectory(directory);
    if (!place || path == nullptr || copy == nullptr) {
        NAVO::platform::Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
        return FALSE;
    }
    return NAVO::platform::HasContent(place->identity, path, copy) ? TRUE : FALSE;
}

// SPDX-License-Identifier: Apache-2.0
#include "loader/failures/DocumentIdentity.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace vellumo::loader {
namespace {

int64_t Nanoseconds(const struct statx_timestamp& time) {
    constexpr int64_t kPerSecond = 1'000'000'000;
    return time.tv_sec * kPerSecond + time.tv_nsec;
}

}  // namespace

std::optional<DocumentIdentity> IdentityOf(const std::string& realPath) {
    struct statx status {};
    if (statx(AT_FDCWD, realPath.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME,
              &status) != 0) {
        return std::nullopt;
    }
    const bool knowsBirth = (status.stx_mask & STATX_BTIME) != 0;
    return DocumentIdentity{static_cast<int64_t>(status.stx_ino),
                            knowsBirth ? Nanoseconds(status.stx_btime) : 0,
                            static_cast<int64_t>(status.stx_size), Nanoseconds(status.stx_mtime)};
}

}  // namespace vellumo::loader

// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/Mounts.h"

#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "daemon/watch/Roots.h"

namespace vellumo::watch {
namespace {

// Those without a name in linux/magic.h come from their file systems' own documentation.
constexpr std::array<uint64_t, 11> kRemote = {NFS_SUPER_MAGIC,   SMB_SUPER_MAGIC,  CIFS_SUPER_MAGIC,
                                              SMB2_SUPER_MAGIC,  FUSE_SUPER_MAGIC, CEPH_SUPER_MAGIC,
                                              V9FS_MAGIC,        AFS_SUPER_MAGIC,  CODA_SUPER_MAGIC,
                                              OCFS2_SUPER_MAGIC, 0x01161970 /* GFS2 */};

constexpr int kOctal = 8;
constexpr size_t kDigits = 3;

// The kernel writes spaces and some other characters as a backslash and three octal digits.
std::string Decoded(const std::string& field) {
    std::string path;
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + kDigits < field.size()) {
            path += static_cast<char>(std::stoi(field.substr(i + 1, kDigits), nullptr, kOctal));
            i += kDigits;
        } else {
            path += field[i];
        }
    }
    return path;
}

}  // namespace

std::vector<std::string> MountsBelow(const std::vector<std::string>& roots, std::istream& table) {
    std::vector<std::string> mounts;
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string field;
        for (int i = 0; i < 5; ++i) {
            fields >> field;  // the fifth is the mount point
        }
        const std::string path = Decoded(field);
        if (std::any_of(roots.begin(), roots.end(), [&](const std::string& root) {
                return path != root && IsWithin(path, root);
            })) {
            mounts.push_back(path);
        }
    }
    std::sort(mounts.begin(), mounts.end());
    mounts.erase(std::unique(mounts.begin(), mounts.end()), mounts.end());
    return mounts;
}

bool IsRemote(const std::string& path) {
    struct statfs status {};
    return statfs(path.c_str(), &status) == 0 &&
           std::find(kRemote.begin(), kRemote.end(), static_cast<uint64_t>(status.f_type)) !=
               kRemote.end();
}

}  // namespace vellumo::watch

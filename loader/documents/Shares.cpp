// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Shares.h"

#include <navo/share.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "loader/Problem.h"

namespace vellumo::loader {
namespace {

bool LiesIn(const std::string& path, const std::string& folder) {
    if (folder == "/") {
        return path.starts_with('/');
    }
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace

std::vector<Share> Shares() {
    std::vector<Share> shares;
    const auto add = [](const NAVOSHARE* share, void* context) {
        static_cast<std::vector<Share>*>(context)->push_back({share->szName, share->szPath});
    };
    if (NAVOShareForEach(add, &shares) != 0) {
        throw Failure({Reason::kShareSettings, "cannot list the shares",
                       std::string("/etc/samba/smb.conf cannot be read: ") + std::strerror(errno),
                       "'testparm -s' checks the file."});
    }
    return shares;
}

ShareMap::ShareMap(std::vector<Share> shares) : _shares(std::move(shares)) {
    std::stable_sort(_shares.begin(), _shares.end(), [](const Share& one, const Share& other) {
        return one.folder.size() > other.folder.size();
    });
}

std::optional<std::string> ShareMap::SharePathOf(const std::string& realPath) const {
    const auto share = std::find_if(_shares.begin(), _shares.end(), [&](const Share& candidate) {
        return LiesIn(realPath, candidate.folder);
    });
    if (share == _shares.end()) {
        return std::nullopt;
    }
    const std::string below =
        share->folder == "/" ? realPath : realPath.substr(share->folder.size());
    return "/" + share->name + below;
}

}  // namespace vellumo::loader

// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "common/Log.h"
#include "path/ExtendedAttributes.h"
#include "utils/ShareRecord.h"
#include "vellumo/Constants.h"
#include "vellumo/Path.h"

namespace NAVO::VELLUMO::path {
namespace {

constexpr const char* kSource = "Path";

struct SharePathParts {
    std::string share;
    std::string rest;  // begins with "/" or is empty
};

bool SplitSharePath(const std::string& sharePath, SharePathParts& parts) {
    if (sharePath.empty() || sharePath.front() != '/') {
        log::Error(kSource, __LINE__, "bad share path: %s", sharePath.c_str());
        return false;
    }
    const size_t end = std::min(sharePath.find('/', 1), sharePath.size());
    parts.share = sharePath.substr(1, end - 1);
    parts.rest = sharePath.substr(end);
    return true;
}

ShareRecord FindShareOrLog(const std::string& name) {
    ShareRecord share = FindShare(name);
    if (!share) {
        log::Error(kSource, __LINE__, "cannot get share path %s", name.c_str());
    }
    return share;
}

}  // namespace

bool ShareToRealPath(const std::string& sharePath, std::string& realPath, const std::string& user) {
    const PortmanFileShare homes;
    SharePathParts parts;
    if (!SplitSharePath(sharePath, parts)) {
        return false;
    }
    if (homes.IsDirUserHome(parts.share, nullptr)) {
        std::string home;
        if (!homes.PfmUserHomeFullPathGet(home, user)) {
            log::Error(kSource, __LINE__, "cannot get user home path %s", parts.share.c_str());
            return false;
        }
        // For the bare alias this index is past the end, and substr throws: callers must not pass
        // it.
        realPath = home + "/" + sharePath.substr(static_cast<size_t>(HOME_LENGTH));
        return true;
    }
    const ShareRecord share = FindShareOrLog(parts.share);
    if (!share) {
        return false;
    }
    realPath = share->szPath + parts.rest;
    return true;
}

bool RealPathToEAPath(const std::string& realPath, std::string& eaPath, const std::string& eaType) {
    std::string directory;
    if (!ea::DirectoryOf(realPath, directory)) {
        log::Plain(kSource, __LINE__, "Get ea dir path error. file path: %s", realPath.c_str());
        return false;
    }
    const ea::Presence presence =
        ea::EnsureDirectory(directory, {kSource, __LINE__, "failed to change root"});
    if (presence == ea::Presence::kNotMade) {
        log::Plain(kSource, __LINE__, "Make ea dir path error. eaDir path: %s", directory.c_str());
    }
    return presence == ea::Presence::kThere && ea::StreamOf(realPath, eaType, eaPath) >= 0;
}

bool IsScaleVolume(const std::string& sharePath) {
    SharePathParts parts;
    if (!SplitSharePath(sharePath, parts)) {
        return false;
    }
    const ShareRecord share = FindShareOrLog(parts.share);
    return share && (share->status & NAVO_SHARE_SCALE_VOLUME) != 0;
}

}  // namespace NAVO::VELLUMO::path

// SPDX-License-Identifier: Apache-2.0
#include <navo/ea.h>
#include <navo/file.h>
#include <navo/share.h>

#include <array>
#include <memory>

#include "common/Log.h"
#include "common/RunAs.h"
#include "vellumo/Constants.h"
#include "vellumo/Path.h"

namespace NAVO::VELLUMO::path {
namespace {

constexpr const char* kSource = "Path";
constexpr size_t kPathSize = 4096;
using PathBuffer = std::array<char, kPathSize>;

struct ShareDeleter {
    void operator()(PNAVOSHARE share) const { NAVOShareFree(share); }
};
using ShareRecord = std::unique_ptr<NAVOSHARE, ShareDeleter>;

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

ShareRecord FindShare(const std::string& name) {
    PNAVOSHARE share = nullptr;
    if (NAVOShareGet(name.c_str(), &share) != 0) {
        log::Error(kSource, __LINE__, "cannot get share path %s", name.c_str());
        return nullptr;
    }
    return ShareRecord(share);
}

bool MakeEADir(const char* directory) {
    const RunAsRoot root(kSource, __LINE__);
    if (!root) {
        log::Error(kSource, __LINE__, "failed to change root");
        return false;
    }
    if (NAVOEAMKDir(1, directory) != 0) {
        log::Plain(kSource, __LINE__, "Make ea dir path error. eaDir path: %s", directory);
        return false;
    }
    return true;
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
        // The bare alias ends before this index and throws: callers must not pass it.
        realPath = home + "/" + sharePath.substr(static_cast<size_t>(HOME_LENGTH));
        return true;
    }
    const ShareRecord share = FindShare(parts.share);
    if (!share) {
        return false;
    }
    realPath = share->szPath + parts.rest;
    return true;
}

bool RealPathToEAPath(const std::string& realPath, std::string& eaPath, const std::string& eaType) {
    PathBuffer directory{};
    if (NAVOEADirPath(0, realPath.c_str(), directory.data(), directory.size()) != 0) {
        log::Plain(kSource, __LINE__, "Get ea dir path error. file path: %s", realPath.c_str());
        return false;
    }
    if (NLIBCFileCheckDir(directory.data()) == FALSE && !MakeEADir(directory.data())) {
        return false;
    }
    PathBuffer stream{};
    if (NAVOEAPath(0, realPath.c_str(), eaType.c_str(), stream.data(), stream.size(), 0) < 0) {
        return false;
    }
    eaPath = stream.data();
    return true;
}

bool IsScaleVolume(const std::string& sharePath) {
    SharePathParts parts;
    if (!SplitSharePath(sharePath, parts)) {
        return false;
    }
    const ShareRecord share = FindShare(parts.share);
    return share && (share->status & NAVO_SHARE_SCALE_VOLUME) != 0;
}

}  // namespace NAVO::VELLUMO::path

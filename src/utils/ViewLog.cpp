// SPDX-License-Identifier: Apache-2.0
#include <navo/APIRequest.h>
#include <navo/settings.h>
#include <navo/xferlog.h>
#include <strings.h>
#include <sys/stat.h>

#include "common/Log.h"
#include "common/RunAs.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"
#include "vellumo/utils_user_group.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "utils";
constexpr int kStatLine = 151;
constexpr int kLogLine = 168;
constexpr int kStringModule = 3;

bool IsWanted() {
    static const NavoConf settings;
    return strcasecmp(settings.Info("filebrowserxferlog", "no").c_str(), "yes") == 0;
}

bool GetSize(const std::string& realPath, off_t& size) {
    const RunAsRoot root(kSource, kStatLine);
    if (!root) {
        log::Error(kSource, kStatLine, "cannot run as root");
        return false;
    }
    struct stat status {};
    if (stat(realPath.c_str(), &status) != 0) {
        log::Failed(kSource, kStatLine, "0 != stat(strRealPath.c_str(), &statBuf)");
        return false;
    }
    size = status.st_size;
    return true;
}

struct Entry {
    std::string address;
    std::string user = SZ_ANONYMOUS_USER;
    off_t size = 0;
    std::string fileName;
};

// Enters the link's owner as the user, and puts the visitor's name into the file name. False when
// the visitor's id has no account.
bool DescribeVisit(const NAVO::APIRequest& request, const std::string& displayName, Entry& entry) {
    entry.user = request.GetSharingEntry().get_owner_user();
    const int uid = request.GetSharingSession().get_uid();
    std::string visitor;
    if (uid != sharing::record::Session::kNoUser &&
        !UIDToUser(static_cast<unsigned int>(uid), visitor)) {
        return false;
    }
    const StringBundle texts(kStringModule, "sharing");
    entry.fileName = visitor + " " + texts.Text("download_log_desc", "") + displayName;
    return true;
}

bool Write(const Entry& entry) {
    const RunAsRoot root(kSource, kLogLine);
    if (!root) {
        log::Error(kSource, kLogLine, "cannot run as root");
        return false;
    }
    if (NAVOLogNOSFMXferLog(entry.address.c_str(), entry.user.c_str(), SZ_TYPE_VIEW, entry.size,
                            entry.fileName.c_str(), 0) == -1) {
        log::Failed(kSource, kLogLine,
                    "-1 == NAVOLogNOSFMXferLog(strIP.c_str(), strUser.c_str(), SZ_TYPE_VIEW, "
                    "fileSize, strTmpFilename.c_str(), 0)");
        return false;
    }
    return true;
}

}  // namespace

bool ViewLog(const std::string& displayName, const std::string& realPath,
             NAVO::APIRequest* request) {
    if (!IsWanted()) {
        return true;
    }
    if (request == nullptr) {
        log::Failed(kSource, __LINE__, "!request");
        return false;
    }
    Entry entry;
    entry.address = request->GetRemoteIP();
    if (!GetSize(realPath, entry.size)) {
        return false;
    }
    if (!request->IsSharing()) {
        entry.user = request->GetLoginUserName();
        entry.fileName = displayName;
    } else if (!DescribeVisit(*request, displayName, entry)) {
        return false;
    }
    return Write(entry);
}

}  // namespace NAVO::VELLUMO

// SPDX-License-Identifier: Apache-2.0
#include <navo/acl.h>

#include "common/Log.h"
#include "common/RunAs.h"
#include "common/SupplementaryGroups.h"
#include "vellumo/Path.h"

namespace NAVO::VELLUMO::path {
namespace {

constexpr const char* kSource = "Path";

}  // namespace

bool HasReadPermission(const std::string& realPath, const std::string& user) {
    const RunAsRoot root(kSource, __LINE__);
    if (!root) {
        return false;
    }
    const SupplementaryGroups groups(kSource, __LINE__);
    if (!groups) {
        return false;
    }
    if (!ResetCredentialsByName(user.c_str(), true)) {
        log::Failed(kSource, __LINE__, "!ResetCredentialsByName(strUserName)");
        return false;
    }
    unsigned mask = 0;
    if (NAVOACLPermGet(realPath.c_str(), &mask) < 0) {
        log::Error(kSource, __LINE__, "cannot get acl permission for %s:%s", user.c_str(),
                   realPath.c_str());
        return false;
    }
    return (mask & NAVO_ACL_READ) != 0;
}

bool Path::CheckPermission() const {
    return HasData("user") && HasReadPermission(GetRealPath(""), GetUser(""));
}

bool Path::CheckPermission(const std::string& user) {
    return SetData("user", user, true) && CheckPermission();
}

}  // namespace NAVO::VELLUMO::path

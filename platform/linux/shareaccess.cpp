// SPDX-License-Identifier: Apache-2.0
#include <navo/share.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "account.h"
#include "fail.h"
#include "parameters.h"
#include "smbaccess.h"
#include "smbhosts.h"
#include "smbshares.h"

namespace NAVO::platform {
namespace {

// The real type of the records that callers get: it owns the texts that the record points to.
struct RootRecord : NAVOSHAREROOT {
    RootRecord(ServiceFile file, unsigned linkBits)
        : NAVOSHAREROOT{}, root(std::move(file.root)), path(std::move(file.path)) {
        szRoot = root.data();
        szPath = path.data();
        links = linkBits;
    }

    std::string root;
    std::string path;
};

bool HasParentComponent(std::string_view path) {
    return ("/" + std::string(path) + "/").find("/../") != std::string::npos;
}

bool IsUsable(const NAVOSHAREFILE* file) {
    return file != nullptr && !IsEmpty(file->szShare) && file->szPath != nullptr &&
           file->szUser != nullptr && !HasParentComponent(file->szPath);
}

std::optional<ServiceFile> FindInHome(const SmbConf& configuration, const NAVOSHAREFILE& file) {
    const std::string user(file.szUser);
    std::string home;
    // It knows which names are no login names, and sets the last error.
    if (!PortmanFileShare().PfmUserHomeFullPathGet(home, user)) {
        return std::nullopt;
    }
    auto found = FindHomeFile(configuration, file.szPath, user, home);
    if (!found) {
        Fail(NAVO_ERR_CONFIG, EINVAL);
    }
    return found;
}

// Returns nothing, with the last error, when the file cannot be mapped.
std::optional<ServiceFile> Find(const SmbConf& configuration, const NAVOSHAREFILE& file) {
    if (PortmanFileShare().IsDirUserHome(file.szShare, nullptr)) {
        return FindInHome(configuration, file);
    }
    auto found = FindShareFile(configuration, file.szShare, file.szPath, file.szUser);
    if (!found) {
        Fail(NAVO_ERR_NO_SUCH_SHARE, ENOENT);
    }
    return found;
}

std::optional<SmbConf> Configuration() {
    auto configuration = SmbConf::Load(kSmbConfFile);
    if (!configuration) {
        Fail(NAVO_ERR_CONFIG);
    }
    return configuration;
}

}  // namespace
}  // namespace NAVO::platform

int NAVOShareRootGet(const NAVOSHAREFILE* file, PNAVOSHAREROOT* root) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    if (!NAVO::platform::IsUsable(file) || root == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const auto configuration = NAVO::platform::Configuration();
    if (!configuration) {
        return -1;
    }
    auto found = NAVO::platform::Find(*configuration, *file);
    if (!found) {
        return -1;
    }
    const unsigned links = NAVO::platform::LinksOf(*configuration, *found);
    *root = std::make_unique<NAVO::platform::RootRecord>(std::move(*found), links).release();
    return 0;
}

void NAVOShareRootFree(PNAVOSHAREROOT root) {
    const std::unique_ptr<NAVO::platform::RootRecord> owned(
        static_cast<NAVO::platform::RootRecord*>(root));
}

int NAVOShareAccessGet(const NAVOSHAREFILE* file, const char* address, NAVOShareRefusal* refusal) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    const std::string host(address == nullptr ? "" : address);
    if (!NAVO::platform::IsUsable(file) || refusal == nullptr ||
        (!host.empty() && !NAVO::platform::IsHostAddress(host))) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const auto account = NAVO::platform::FindAccount(std::string(file->szUser));
    if (!account) {
        return Fail(NAVO_ERR_NO_SUCH_USER);
    }
    const auto configuration = NAVO::platform::Configuration();
    if (!configuration) {
        return -1;
    }
    const auto found = NAVO::platform::Find(*configuration, *file);
    if (!found) {
        return -1;
    }
    *refusal = NAVO::platform::RefusalOf(*configuration, *found, *account, host);
    return 0;
}

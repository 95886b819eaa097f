// SPDX-License-Identifier: Apache-2.0
#include <navo/share.h>
#include <pwd.h>

#include <optional>
#include <string>
#include <vector>

#include "fail.h"
#include "smbshares.h"

namespace NAVO::platform {
namespace {

constexpr const char* kHomeAlias = "home";
constexpr size_t kFirstBufferSize = 1024;  // ample for a local account

// Refuses what would lead out of the homes' folder when it becomes a part of a path.
bool IsLoginName(const std::string& name) {
    constexpr std::string_view kForbidden("/\0", 2);
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(kForbidden) == std::string::npos;
}

// The home directory that the account `user` has; nothing, with errno, when the server does not
// know the account (ENOENT) or cannot tell.
std::optional<std::string> AccountHome(const std::string& user) {
    std::vector<char> buffer(kFirstBufferSize);
    struct passwd account {};
    struct passwd* found = nullptr;
    int error = getpwnam_r(user.c_str(), &account, buffer.data(), buffer.size(), &found);
    while (error == ERANGE) {
        buffer.resize(buffer.size() * 2);
        error = getpwnam_r(user.c_str(), &account, buffer.data(), buffer.size(), &found);
    }
    if (found == nullptr) {
        errno = error == 0 ? ENOENT : error;
        return std::nullopt;
    }
    return std::string(account.pw_dir);
}

}  // namespace
}  // namespace NAVO::platform

PortmanFileShare::PortmanFileShare() = default;

PortmanFileShare::~PortmanFileShare() = default;

// A member for the interface's sake.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
bool PortmanFileShare::IsDirUserHome(const std::string& shareName, void* reserved) const {
    if (reserved != nullptr) {
        NAVO::platform::Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
        return false;
    }
    return shareName == NAVO::platform::kHomeAlias;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
bool PortmanFileShare::PfmUserHomeFullPathGet(std::string& home, const std::string& user) const {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    if (!NAVO::platform::IsLoginName(user)) {
        Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
        return false;
    }
    const auto accountHome = NAVO::platform::AccountHome(user);
    if (!accountHome) {
        Fail(NAVO_ERR_NO_SUCH_USER);
        return false;
    }
    const auto configuration = NAVO::platform::SmbConf::Load(NAVO::platform::kSmbConfFile);
    if (!configuration) {
        Fail(NAVO_ERR_CONFIG);
        return false;
    }
    const auto found = NAVO::platform::FindHome(*configuration, user, *accountHome);
    if (!found) {
        Fail(NAVO_ERR_CONFIG, EINVAL);
        return false;
    }
    home = *found;
    return true;
}

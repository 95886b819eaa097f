// SPDX-License-Identifier: Apache-2.0
#include <navo/share.h>

#include <string>
#include <string_view>

#include "account.h"
#include "fail.h"
#include "smbshares.h"

namespace NAVO::platform {
namespace {

constexpr const char* kHomeAlias = "home";

// Refuses a name that would lead out of the folder of homes when it becomes part of a path.
bool IsLoginName(const std::string& name) {
    constexpr std::string_view kForbidden("/\0", 2);
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(kForbidden) == std::string::npos;
}

}  // namespace
}  // namespace NAVO::platform

PortmanFileShare::PortmanFileShare() = default;

PortmanFileShare::~PortmanFileShare() = default;

// A member because the interface has it as one.
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
    const auto account = NAVO::platform::FindAccount(user);
    if (!account) {
        Fail(NAVO_ERR_NO_SUCH_USER);
        return false;
    }
    const auto configuration = NAVO::platform::SmbConf::Load(NAVO::platform::kSmbConfFile);
    if (!configuration) {
        Fail(NAVO_ERR_CONFIG);
        return false;
    }
    const auto found = NAVO::platform::FindHome(*configuration, user, account->home);
    if (!found) {
        Fail(NAVO_ERR_CONFIG, EINVAL);
        return false;
    }
    home = *found;
    return true;
}

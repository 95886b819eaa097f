// SPDX-License-Identifier: Apache-2.0
#include <grp.h>
#include <navo/acl.h>
#include <unistd.h>

#include "account.h"
#include "fail.h"
#include "parameters.h"

namespace NAVO::platform {
namespace {

constexpr auto kKeepUser = static_cast<uid_t>(-1);
constexpr auto kKeepGroup = static_cast<gid_t>(-1);

// Sets the user last: a process that is no longer root can change nothing else.
bool Become(const Account& account, bool canReturn) {
    const gid_t otherGroups = canReturn ? kKeepGroup : account.gid;
    const uid_t otherUsers = canReturn ? kKeepUser : account.uid;
    return initgroups(account.name.c_str(), account.gid) == 0 &&
           setresgid(otherGroups, account.gid, otherGroups) == 0 &&
           setresuid(otherUsers, account.uid, otherUsers) == 0;
}

}  // namespace
}  // namespace NAVO::platform

bool ResetCredentialsByName(const char* user, bool canReturn) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    if (NAVO::platform::IsEmpty(user)) {
        Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
        return false;
    }
    const auto account = NAVO::platform::FindAccount(user);
    if (!account) {
        Fail(NAVO_ERR_NO_SUCH_USER);
        return false;
    }
    if (!NAVO::platform::Become(*account, canReturn)) {
        Fail(NAVO_ERR_NO_PERMISSION);
        return false;
    }
    return true;
}

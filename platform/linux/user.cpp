// SPDX-License-Identifier: Apache-2.0
#include <navo/user.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "account.h"
#include "fail.h"
#include "parameters.h"

namespace NAVO::platform {
namespace {

// The real types of the records that callers get: they own the texts that the records point to.
struct UserRecord : NAVOUSER {
    explicit UserRecord(Account account)
        : NAVOUSER{}, name(std::move(account.name)), home(std::move(account.home)) {
        szName = name.data();
        uid = account.uid;
        gid = account.gid;
        szHomeDir = home.data();
    }

    std::string name;
    std::string home;
};

struct GroupRecord : NAVOGROUP {
    explicit GroupRecord(Group group) : NAVOGROUP{}, name(std::move(group.name)) {
        szName = name.data();
        gid = group.gid;
    }

    std::string name;
};

struct HashRecord : NLIBCSZHASH {
    explicit HashRecord(const std::vector<gid_t>& groups) : NLIBCSZHASH{} {
        for (const gid_t group : groups) {
            texts.emplace_back(FindGroup(group), std::to_string(group));
        }
        for (auto& [group, number] : texts) {
            table.push_back({group ? group->name.data() : nullptr, number.data()});
        }
        count = static_cast<int32_t>(table.size());
        items = table.data();
    }

    std::vector<std::pair<std::optional<Group>, std::string>> texts;
    std::vector<NLIBCSZHASHITEM> table;
};

int HandOut(std::optional<Account> account, PNAVOUSER* user) {
    if (!account) {
        return Fail(NAVO_ERR_NO_SUCH_USER);
    }
    *user = std::make_unique<UserRecord>(std::move(*account)).release();
    return 0;
}

}  // namespace
}  // namespace NAVO::platform

using NAVO::platform::Fail;

int NAVOUserGet(const char* name, PNAVOUSER* user) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (NAVO::platform::IsEmpty(name) || user == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    return NAVO::platform::HandOut(NAVO::platform::FindAccount(name), user);
}

int NAVOUserGetByUID(uint32_t uid, PNAVOUSER* user) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (user == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    return NAVO::platform::HandOut(NAVO::platform::FindAccount(uid), user);
}

void NAVOUserFree(PNAVOUSER user) {
    const std::unique_ptr<NAVO::platform::UserRecord> owned(
        static_cast<NAVO::platform::UserRecord*>(user));
}

int NAVOGroupGetGID(const char* name, uint32_t* gid) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (NAVO::platform::IsEmpty(name) || gid == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const auto group = NAVO::platform::FindGroup(name);
    if (!group) {
        return Fail(NAVO_ERR_NO_SUCH_GROUP);
    }
    *gid = group->gid;
    return 0;
}

int NAVOGroupGetByGID(uint32_t gid, PNAVOGROUP* group) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (group == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    auto found = NAVO::platform::FindGroup(gid);
    if (!found) {
        return Fail(NAVO_ERR_NO_SUCH_GROUP);
    }
    *group = std::make_unique<NAVO::platform::GroupRecord>(std::move(*found)).release();
    return 0;
}

void NAVOGroupFree(PNAVOGROUP group) {
    const std::unique_ptr<NAVO::platform::GroupRecord> owned(
        static_cast<NAVO::platform::GroupRecord*>(group));
}

PNLIBCSZHASH NLIBGroupInfoHashGet(const char* user, int withPrimary, int flags) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (NAVO::platform::IsEmpty(user) || withPrimary != 1 || flags != 0) {
        Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
        return nullptr;
    }
    const auto account = NAVO::platform::FindAccount(user);
    if (!account) {
        Fail(NAVO_ERR_NO_SUCH_USER);
        return nullptr;
    }
    return std::make_unique<NAVO::platform::HashRecord>(NAVO::platform::GroupsOf(*account))
        .release();
}

void NLIBCSzHashFree(PNLIBCSZHASH hash) {
    const std::unique_ptr<NAVO::platform::HashRecord> owned(
        static_cast<NAVO::platform::HashRecord*>(hash));
}

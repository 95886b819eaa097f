// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_ACCOUNT_H
#define NAVO_LINUX_ACCOUNT_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// Accounts and groups from the name service. The Find operations return nothing, with errno, when
// it knows no such account or group (ENOENT) or cannot answer (any other value).
namespace NAVO::platform {

struct Account {
    std::string name;
    uid_t uid;
    gid_t gid;
    std::string home;
};

std::optional<Account> FindAccount(const std::string& name);
std::optional<Account> FindAccount(uid_t uid);

struct Group {
    std::string name;
    gid_t gid;
};

std::optional<Group> FindGroup(const std::string& name);
std::optional<Group> FindGroup(gid_t gid);

// Returns the ids of all groups of `account`, its primary group first.
std::vector<gid_t> GroupsOf(const Account& account);

}  // namespace NAVO::platform

#endif

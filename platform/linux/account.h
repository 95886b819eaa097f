// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_ACCOUNT_H
#define NAVO_LINUX_ACCOUNT_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// Accounts and groups as the name service tells them. Nothing, with errno, when it knows none such
// (ENOENT) or cannot tell (anything else).
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

// The ids of all groups of `account`, its primary one first.
std::vector<gid_t> GroupsOf(const Account& account);

}  // namespace NAVO::platform

#endif

// SPDX-License-Identifier: Apache-2.0
#include "account.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>

namespace NAVO::platform {
namespace {

constexpr size_t kFirstBufferSize = 1024;  // ample for a local account
constexpr int kFirstGroups = 64;

// `look` is one of the C library's re-entrant lookups (getpwnam_r and its like), bound to its key.
template <typename Record, typename Look>
bool Ask(Look look, Record& record, std::vector<char>& buffer) {
    buffer.resize(kFirstBufferSize);
    for (;;) {
        Record* found = nullptr;
        const int error = look(&record, buffer.data(), buffer.size(), &found);
        if (found != nullptr) {
            return true;
        }
        if (error == ERANGE) {
            buffer.resize(buffer.size() * 2);
        } else if (error != EINTR) {
            // Name services differ in the error that they return for an unknown name.
            errno = error == 0 || error == ESRCH ? ENOENT : error;
            return false;
        }
    }
}

template <typename Look>
std::optional<Account> AskForAccount(Look look) {
    struct passwd record {};
    std::vector<char> buffer;
    if (!Ask(look, record, buffer)) {
        return std::nullopt;
    }
    return Account{record.pw_name, record.pw_uid, record.pw_gid, record.pw_dir};
}

template <typename Look>
std::optional<Group> AskForGroup(Look look) {
    struct group record {};
    std::vector<char> buffer;
    if (!Ask(look, record, buffer)) {
        return std::nullopt;
    }
    return Group{record.gr_name, record.gr_gid};
}

}  // namespace

std::optional<Account> FindAccount(const std::string& name) {
    return AskForAccount([&](passwd* record, char* buffer, size_t size, passwd** found) {
        return getpwnam_r(name.c_str(), record, buffer, size, found);
    });
}

std::optional<Account> FindAccount(uid_t uid) {
    return AskForAccount([=](passwd* record, char* buffer, size_t size, passwd** found) {
        return getpwuid_r(uid, record, buffer, size, found);
    });
}

std::optional<Group> FindGroup(const std::string& name) {
    return AskForGroup([&](group* record, char* buffer, size_t size, group** found) {
        return getgrnam_r(name.c_str(), record, buffer, size, found);
    });
}

std::optional<Group> FindGroup(gid_t gid) {
    return AskForGroup([=](group* record, char* buffer, size_t size, group** found) {
        return getgrgid_r(gid, record, buffer, size, found);
    });
}

std::vector<gid_t> GroupsOf(const Account& account) {
    int count = kFirstGroups;
    std::vector<gid_t> groups(static_cast<size_t>(count));
    while (getgrouplist(account.name.c_str(), account.gid, groups.data(), &count) < 0) {
        groups.resize(static_cast<size_t>(count));
    }
    groups.resize(static_cast<size_t>(count));
    return groups;
}

}  // namespace NAVO::platform

// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/ActingUser.h"

#include <grp.h>
#include <navo/acl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace vellumo::loader {
namespace {

std::vector<gid_t> PresentGroups() {
    std::vector<gid_t> groups(static_cast<size_t>(getgroups(0, nullptr)));
    groups.resize(static_cast<size_t>(getgroups(static_cast<int>(groups.size()), groups.data())));
    return groups;
}

}  // namespace

ActingUser::ActingUser(const std::string& account)
    : _user(geteuid()), _group(getegid()), _groups(PresentGroups()), _error(Enter(account)) {}

// A process with the ids of one and the work of another must not go on.
ActingUser::~ActingUser() {
    if (!Leave()) {
        std::abort();
    }
}

int ActingUser::Enter(const std::string& account) const {
    const bool isRoot = _user == 0 || seteuid(0) == 0;
    if (isRoot && ResetCredentialsByName(account.c_str(), true)) {
        return 0;
    }
    return errno;
}

bool ActingUser::Leave() const {
    // Only root can set the groups, where they have changed.
    if (PresentGroups() != _groups &&
        (seteuid(0) != 0 || setgroups(_groups.size(), _groups.data()) != 0)) {
        return false;
    }
    if (geteuid() == _user && getegid() == _group) {
        return true;
    }
    return seteuid(0) == 0 && setegid(_group) == 0 && seteuid(_user) == 0;
}

}  // namespace vellumo::loader

// SPDX-License-Identifier: Apache-2.0
#include "common/RunAs.h"

#include <syslog.h>
#include <unistd.h>

namespace NAVO::VELLUMO {
namespace {

constexpr auto kKeepUser = static_cast<uid_t>(-1);
constexpr auto kKeepGroup = static_cast<gid_t>(-1);

bool SetEffectiveUser(uid_t user) {
    return setresuid(kKeepUser, user, kKeepUser) == 0;
}

bool SetEffectiveGroup(gid_t group) {
    return setresgid(kKeepGroup, group, kKeepGroup) == 0;
}

}  // namespace

RunAsRoot::RunAsRoot(const char* source, int line)
    : _source(source), _line(line), _user(geteuid()), _group(getegid()), _entered(Enter()) {
    if (!_entered) {
        syslog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: %s(%d, %d)", _source, _line, "IF_RUN_AS", 0, 0);
    }
}

RunAsRoot::~RunAsRoot() {
    if (!Leave()) {
        syslog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: ~%s(%d, %d)", _source, _line, "IF_RUN_AS",
               static_cast<int>(_user), static_cast<int>(_group));
    }
}

bool RunAsRoot::Enter() {
    if (geteuid() == 0 && getegid() == 0) {
        return true;
    }
    if (geteuid() != 0 && !SetEffectiveUser(0)) {
        return false;
    }
    if (getegid() != 0 && !SetEffectiveGroup(0)) {
        return false;
    }
    return SetEffectiveUser(0);
}

bool RunAsRoot::Leave() const {
    if (geteuid() == _user && getegid() == _group) {
        return true;
    }
    // Only root can change the group, so become root again first.
    if (geteuid() != 0 && geteuid() != _user && !SetEffectiveUser(0)) {
        return false;
    }
    if (_group != kKeepGroup && !SetEffectiveGroup(_group)) {
        return false;
    }
    return _user == kKeepUser || SetEffectiveUser(_user);
}

}  // namespace NAVO::VELLUMO

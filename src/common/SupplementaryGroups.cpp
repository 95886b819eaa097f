// SPDX-License-Identifier: Apache-2.0
#include "common/SupplementaryGroups.h"

#include <grp.h>
#include <unistd.h>

#include "common/Log.h"

namespace NAVO::VELLUMO {
namespace {

bool GetGroups(std::vector<gid_t>& groups) {
    const int count = getgroups(0, nullptr);
    if (count < 0) {
        return false;
    }
    groups.resize(static_cast<size_t>(count));
    return getgroups(count, groups.data()) == count;
}

}  // namespace

SupplementaryGroups::SupplementaryGroups(const char* source, int line)
    : _source(source), _line(line), _isKnown(GetGroups(_groups)) {
    if (!_isKnown) {
        log::Error(_source, _line, "cannot tell the supplementary groups");
    }
}

SupplementaryGroups::~SupplementaryGroups() {
    if (_isKnown && !GiveBack()) {
        log::Error(_source, _line, "cannot give back the supplementary groups");
    }
}

bool SupplementaryGroups::GiveBack() const {
    std::vector<gid_t> present;
    if (GetGroups(present) && present == _groups) {
        return true;  // setgroups would fail where a process may not set groups at all
    }
    if (geteuid() != 0 && setresuid(static_cast<uid_t>(-1), 0, static_cast<uid_t>(-1)) != 0) {
        return false;
    }
    return setgroups(_groups.size(), _groups.data()) == 0;
}

}  // namespace NAVO::VELLUMO

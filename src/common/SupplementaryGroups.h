// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_SUPPLEMENTARYGROUPS_H
#define VELLUMO_COMMON_SUPPLEMENTARYGROUPS_H

#include <sys/types.h>

#include <vector>

namespace NAVO::VELLUMO {

// Stores the process's supplementary groups and restores them at the end. Create it inside the
// scope of a RunAsRoot, which restores the ids but not the groups. Only root can set groups: when
// they have changed, this becomes the effective user 0 again and leaves the ids to the RunAsRoot.
class SupplementaryGroups {
public:
    // `source` and `line` stand in the messages about steps that fail.
    SupplementaryGroups(const char* source, int line);
    ~SupplementaryGroups();
    SupplementaryGroups(const SupplementaryGroups&) = delete;
    SupplementaryGroups& operator=(const SupplementaryGroups&) = delete;

    // Whether the groups are known and so can be restored.
    explicit operator bool() const { return _isKnown; }

private:
    bool GiveBack() const;

    const char* _source;
    int _line;
    std::vector<gid_t> _groups;
    bool _isKnown;
};

}  // namespace NAVO::VELLUMO

#endif

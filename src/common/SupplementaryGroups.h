// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_SUPPLEMENTARYGROUPS_H
#define VELLUMO_COMMON_SUPPLEMENTARYGROUPS_H

#include <sys/types.h>

#include <vector>

namespace NAVO::VELLUMO {

// Remembers the process's supplementary groups and gives them back at the end. It lives inside a
// RunAsRoot, which gives back the ids but not these: only root can set them, so when they have
// changed this takes the effective user 0 back, and leaves the rest to the RunAsRoot.
class SupplementaryGroups {
public:
    // `source` and `line` name the place in the messages about steps that fail.
    SupplementaryGroups(const char* source, int line);
    ~SupplementaryGroups();
    SupplementaryGroups(const SupplementaryGroups&) = delete;
    SupplementaryGroups& operator=(const SupplementaryGroups&) = delete;

    // Whether they are known, and so can be given back.
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

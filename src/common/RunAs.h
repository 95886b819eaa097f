// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_RUNAS_H
#define VELLUMO_COMMON_RUNAS_H

#include <sys/types.h>

namespace NAVO::VELLUMO {

// Makes the process act as root for as long as the object lives: sets the effective user and group
// to 0 and, at the end, back to what they were before. Leaves real and saved ids as they are. The
// effective ids belong to the whole process, so no two threads may do this at once.
//
//   const RunAsRoot root("utils", 126);
//   if (!root) { ...not root: skip the step... }
class RunAsRoot {
public:
    // `source` and `line` stand in the messages about steps that fail.
    RunAsRoot(const char* source, int line);
    ~RunAsRoot();
    RunAsRoot(const RunAsRoot&) = delete;
    RunAsRoot& operator=(const RunAsRoot&) = delete;

    // Whether the ids are root's.
    explicit operator bool() const { return _entered; }

private:
    static bool Enter();
    bool Leave() const;

    const char* _source;
    int _line;
    uid_t _user;
    gid_t _group;
    bool _entered;
};

}  // namespace NAVO::VELLUMO

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_MOUNTS_H
#define VELLUMO_WATCH_MOUNTS_H

#include <istream>
#include <string>
#include <vector>

namespace vellumo::watch {

// The mount points that lie below one of `roots`. `table`: the text of /proc/self/mountinfo.
std::vector<std::string> MountsBelow(const std::vector<std::string>& roots, std::istream& table);

// Whether files at `path` may change without this machine's kernel knowing, because they are on
// another machine or managed by a program (FUSE).
bool IsRemote(const std::string& path);

}  // namespace vellumo::watch

#endif

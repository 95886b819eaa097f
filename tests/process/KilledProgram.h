// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_KILLEDPROGRAM_H
#define VELLUMO_TESTS_KILLEDPROGRAM_H

#include <sys/types.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vellumo::test {

// Runs a program and kills it, with SIGKILL, when it is about to make its `step`-th change (1 is
// the first) of what outlives it: of a file, a directory, a lock or its child processes. Waits for
// the programs that it has started. Returns the name of that system call; "" when the program has
// ended before. The caller has no other child processes.
std::string KilledAtStep(const std::vector<std::string>& command, int step);

// A file, by its device and inode.
using FileId = std::pair<dev_t, ino_t>;

struct Interrupted {
    std::string call;          // as KilledAtStep() returns it
    std::set<FileId> written;  // files to which the program has written
    std::set<FileId> synced;   // files that it has written to the disk, and not to since
    // What the disk has of each regular file to which it has written: its content when it was
    // synced last, else as it was before.
    std::map<FileId, std::string> onDisk;
    // Files that it has removed from directories which it has not synced since: what the disk has
    // of them, by their paths.
    std::map<std::string, std::string> removed;
};

// The same, and notes which files are safe from a power cut. It does not see what the programs do
// that the program has started.
Interrupted KilledWithDisk(const std::vector<std::string>& command, int step);

}  // namespace vellumo::test

#endif

// SPDX-License-Identifier: Apache-2.0
#include "scratch/LockedDirectory.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <system_error>

#include "Failure.h"
#include "support/Directory.h"

namespace vellumo::engine {
namespace {

using support::Descriptor;

bool TakeLock(const Descriptor& directory) {
    return flock(directory.Get(), LOCK_EX | LOCK_NB) == 0;
}

// Until the lock is taken, another process may remove the directory, and a third one may make its
// own under the name, which must stay.
void SweepLeftovers(const std::string& above, const std::string& prefix, Remover remove) {
    const Descriptor directory = support::OpenDirectory(above);
    for (const std::string& name : support::NamesIn(directory)) {
        if (!name.starts_with(prefix)) {
            continue;
        }
        const std::string path = above + name;
        const Descriptor lock = support::OpenDirectoryAt(directory, name);
        if (lock && TakeLock(lock) && support::LiesAt(lock, path)) {
            remove(path);
        }
    }
}

bool Remove(const std::string& tree) {
    if (unlink(tree.c_str()) == 0) {
        return true;  // it was a file or a link
    }
    const Descriptor directory = support::OpenDirectory(tree);
    return directory && support::RemoveContents(directory) && rmdir(tree.c_str()) == 0;
}

}  // namespace

void RemoveTree(const std::string& tree) {
    if (Remove(tree) || errno == ENOENT) {
        return;
    }
    const int error = errno;
    std::cerr << "vellumo-engine: cannot remove " << tree << ": "
              << std::generic_category().message(error) << "; remove it by hand\n";
}

LockedDirectory::LockedDirectory(const std::string& above, const std::string& prefix,
                                 Remover remove)
    : _remove(remove) {
    SweepLeftovers(above, prefix, remove);
    do {
        Create(above, prefix);
    } while (!Lock());
}

LockedDirectory::~LockedDirectory() {
    _remove(_path);
}

void LockedDirectory::Create(const std::string& above, const std::string& prefix) {
    _number = 0;
    do {
        _path = above + prefix + std::to_string(_number);
        if (mkdir(_path.c_str(), S_IRWXU) == 0) {
            return;
        }
        ++_number;
    } while (errno == EEXIST);
    const int error = errno;
    throw SystemFailure("cannot make a directory in " + above, error);
}

// False when the directory is another process's: until the lock is taken, a second process may
// remove the directory as a leftover, and a third one may make its own under the name. To wait for
// the lock would be to wait until that one's work is done. The name counts, because the link count
// of a control group's directory does not show whether it was removed.
bool LockedDirectory::Lock() {
    _lock = support::OpenDirectory(_path);
    if (_lock && TakeLock(_lock)) {
        return support::LiesAt(_lock, _path);
    }
    const int error = errno;
    if (error != EWOULDBLOCK && error != ENOENT) {
        throw SystemFailure("cannot lock " + _path, error);
    }
    return false;
}

}  // namespace vellumo::engine

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

void SweepLeftovers(const std::string& above, const std::string& prefix, Remover remove) {
    const Descriptor directory = support::OpenDirectory(above);
    for (const std::string& name : support::NamesIn(directory)) {
        if (!name.starts_with(prefix)) {
            continue;
        }
        const Descriptor lock = support::OpenDirectoryAt(directory, name);
        if (lock && flock(lock.Get(), LOCK_EX | LOCK_NB) == 0) {
            remove(above + name);
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
    } while (!IsThere());
}

LockedDirectory::~LockedDirectory() {
    _remove(_path);
}

void LockedDirectory::Create(const std::string& above, const std::string& prefix) {
    _number = 0;
    do {
        _path = above + prefix + std::to_string(_number);
        if (mkdir(_path.c_str(), S_IRWXU) == 0) {
            Lock();
            return;
        }
        ++_number;
    } while (errno == EEXIST);
    const int error = errno;
    throw SystemFailure("cannot make a directory in " + above, error);
}

void LockedDirectory::Lock() {
    _lock = support::OpenDirectory(_path);
    const bool isSwept = !_lock && errno == ENOENT;
    if (!isSwept && flock(_lock.Get(), LOCK_EX) != 0) {
        const int error = errno;
        throw SystemFailure("cannot lock " + _path, error);
    }
}

// Between its creation and its lock, another process may have removed the directory as a leftover.
// The check looks the name up, because the link count of a control group's directory does not show
// whether it was removed.
bool LockedDirectory::IsThere() const {
    return support::LiesAt(_lock, _path);
}

}  // namespace vellumo::engine

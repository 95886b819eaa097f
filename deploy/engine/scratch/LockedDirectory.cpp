// SPDX-License-Identifier: Apache-2.0
#include "scratch/LockedDirectory.h"

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
        if (const Descriptor lock = support::LockDirectoryAt(directory, name)) {
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
    const Descriptor directory = support::OpenDirectory(above);
    do {
        Create(above, prefix);
        _lock = support::LockDirectoryAt(directory, prefix + std::to_string(_number));
    } while (!_lock && errno == EWOULDBLOCK);  // another engine took it for a leftover
    if (!_lock) {
        const int error = errno;
        throw SystemFailure("cannot lock " + _path, error);
    }
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

}  // namespace vellumo::engine

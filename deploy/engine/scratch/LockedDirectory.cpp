// SPDX-License-Identifier: Apache-2.0
#include "scratch/LockedDirectory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "Failure.h"

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;
using support::Descriptor;

// A command may leave directories that not even their owner may enter.
void OpenUp(const std::string& tree) {
    std::error_code error;
    for (fs::recursive_directory_iterator entry(tree, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->symlink_status().type() == fs::file_type::directory) {
            fs::permissions(entry->path(), fs::perms::owner_all, error);
        }
    }
}

int OpenDirectory(const std::string& path) {
    return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

void SweepLeftovers(const std::string& above, const std::string& prefix, Remover remove) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(above, error)) {
        if (!entry.path().filename().string().starts_with(prefix)) {
            continue;
        }
        const Descriptor lock(OpenDirectory(entry.path()));
        if (lock && flock(lock.Get(), LOCK_EX | LOCK_NB) == 0) {
            remove(entry.path());
        }
    }
}

}  // namespace

void RemoveTree(const std::string& tree) {
    std::error_code error;
    fs::remove_all(tree, error);
    if (error) {
        OpenUp(tree);
        fs::remove_all(tree, error);
    }
    if (error) {
        std::cerr << "vellumo-engine: cannot remove " << tree << ": " << error.message()
                  << "; remove it by hand\n";
    }
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
    _path = above + prefix + "XXXXXX";
    if (mkdtemp(_path.data()) == nullptr) {
        throw SystemFailure("cannot make a directory in " + above, errno);
    }
    _lock = std::make_unique<Descriptor>(OpenDirectory(_path));
    const bool isSwept = !*_lock && errno == ENOENT;
    if (!isSwept && flock(_lock->Get(), LOCK_EX) != 0) {
        throw SystemFailure("cannot lock " + _path, errno);
    }
}

// Between its creation and its lock, a sweeper may have taken it for a leftover. By its name: a
// directory of processes tells nothing by its links.
bool LockedDirectory::IsThere() const {
    struct stat named {};
    struct stat locked {};
    return stat(_path.c_str(), &named) == 0 && fstat(_lock->Get(), &locked) == 0 &&
           named.st_ino == locked.st_ino;
}

}  // namespace vellumo::engine

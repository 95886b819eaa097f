// SPDX-License-Identifier: Apache-2.0
#include "Scratch.h"

#include <fcntl.h>
#include <navo/file.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "Failure.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;
using NAVO::VELLUMO::FileDescriptor;

constexpr const char* kPrefix = ".engine-";

void MakeShared(const std::string& directory) {
    if (NAVOFSMkdirP(directory.c_str(), nullptr, TRUE, UID_ERR, UID_ERR, 0755) != 0) {
        throw SystemFailure("cannot make " + directory, errno);
    }
}

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

int OpenDirectory(const std::string& path) {
    return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

void SweepLeftovers(const std::string& above) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(above, error)) {
        if (!entry.path().filename().string().starts_with(kPrefix)) {
            continue;
        }
        const FileDescriptor lock(OpenDirectory(entry.path()));
        if (lock && flock(lock.Get(), LOCK_EX | LOCK_NB) == 0) {
            RemoveTree(entry.path());
        }
    }
}

// Whether the directory is still there: between its creation and its lock, a sweeper may have taken
// it for a leftover.
bool IsThere(int directory) {
    struct stat status {};
    return fstat(directory, &status) == 0 && status.st_nlink > 0;
}

bool IsProduct(const fs::directory_entry& entry) {
    const std::string name = entry.path().filename();
    const bool isOfficeTemporary = name.starts_with("lu") && name.ends_with(".tmp");
    return entry.symlink_status().type() == fs::file_type::regular && !name.starts_with('.') &&
           !isOfficeTemporary;
}

void MoveProduct(const fs::path& product, const std::string& target) {
    const std::string destination = target + product.filename().string();
    if (lchown(product.c_str(), geteuid(), getegid()) != 0 ||
        chmod(product.c_str(), S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH) != 0 ||
        rename(product.c_str(), destination.c_str()) != 0) {
        throw SystemFailure("cannot move the product to " + destination, errno);
    }
}

}  // namespace

ScratchTree FindScratchTree() {
    using NAVO::VELLUMO::SZF_COVERT_SOURCE_DIR;
    using NAVO::VELLUMO::SZF_COVERT_TARGET_DIR;
    using NAVO::VELLUMO::SZF_DOCKER_DIR;
    std::string volume;
    if (!NAVO::VELLUMO::VolumePathGet(SZF_DOCKER_DIR, volume)) {
        throw Failure(kEngineFailed,
                      "there is no share docker, on whose volume documents pass through; add a "
                      "section [docker] with its path to /etc/samba/smb.conf");
    }
    const std::string root = volume + SZF_DOCKER_DIR;
    ScratchTree tree{root + SZF_COVERT_SOURCE_DIR, root + SZF_COVERT_TARGET_DIR, ""};
    tree.above = fs::path(tree.source).parent_path().parent_path().string() + '/';
    MakeShared(tree.source);
    MakeShared(tree.target);
    return tree;
}

PrivateScratch::PrivateScratch(const std::string& above) {
    SweepLeftovers(above);
    do {
        Create(above);
    } while (!IsThere(_lock->Get()));
    MakeRooms();
}

void PrivateScratch::Create(const std::string& above) {
    _path = above + kPrefix + "XXXXXX";
    if (mkdtemp(_path.data()) == nullptr) {
        throw SystemFailure("cannot make a directory in " + above, errno);
    }
    _lock = std::make_unique<FileDescriptor>(OpenDirectory(_path));
    const bool isSwept = !*_lock && errno == ENOENT;
    if (!isSwept && flock(_lock->Get(), LOCK_EX) != 0) {
        throw SystemFailure("cannot lock " + _path, errno);
    }
}

void PrivateScratch::MakeRooms() const {
    if (mkdir(Source().c_str(), S_IRWXU) != 0 || mkdir(Target().c_str(), S_IRWXU) != 0) {
        const int error = errno;
        RemoveTree(_path);
        throw SystemFailure("cannot make directories in " + _path, error);
    }
}

PrivateScratch::~PrivateScratch() {
    RemoveTree(_path);
}

bool PrivateScratch::GiveToNobody() const {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(_path, error)) {
        if (lchown(entry.path().c_str(), kNobody, kNobody) != 0) {
            return false;
        }
    }
    return !error;
}

void PrivateScratch::Publish(const std::string& target) const {
    for (const fs::directory_entry& entry : fs::directory_iterator(Target())) {
        if (IsProduct(entry)) {
            MoveProduct(entry.path(), target);
        }
    }
}

}  // namespace vellumo::engine

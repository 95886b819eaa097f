// SPDX-License-Identifier: Apache-2.0
#include "scratch/Scratch.h"

#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "Failure.h"
#include "exchange/exchange.h"
#include "support/Directory.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;

void MakeShared(const std::string& directory) {
    if (NAVOFSMkdirP(directory.c_str(), nullptr, TRUE, UID_ERR, UID_ERR, 0755) != 0) {
        const int error = errno;
        if (error == EPERM) {
            throw Failure(kEngineFailed, "cannot make " + directory +
                                             ": a directory above it belongs to another user, "
                                             "whom the system log names; give it to root");
        }
        throw SystemFailure("cannot make " + directory, error);
    }
}

// Opens a directory whose path ends with a slash. The slash is removed, because with it the call
// would follow a symbolic link.
support::Descriptor OpenFolder(const std::string& path) {
    return support::OpenDirectory(fs::path(path).parent_path());
}

}  // namespace

ScratchTree FindScratchTree() {
    using NAVO::VELLUMO::SZF_COVERT_SOURCE_DIR;
    using NAVO::VELLUMO::SZF_COVERT_TARGET_DIR;
    using NAVO::VELLUMO::SZF_DOCKER_DIR;
    std::string volume;
    if (!NAVO::VELLUMO::VolumePathGet(SZF_DOCKER_DIR, volume)) {
        throw Failure(kEngineFailed,
                      "there is no share docker, whose volume holds the scratch directories; add a "
                      "section [docker] with its path to /etc/samba/smb.conf");
    }
    const std::string root = volume + SZF_DOCKER_DIR;
    ScratchTree tree{root, root + SZF_COVERT_SOURCE_DIR, root + SZF_COVERT_TARGET_DIR, ""};
    tree.above = fs::path(tree.source).parent_path().parent_path().string() + '/';
    MakeShared(tree.source);
    MakeShared(tree.target);
    return tree;
}

PrivateScratch::PrivateScratch(const std::string& above) : _directory(above, kPrefix, RemoveTree) {
    MakeRooms();
}

void PrivateScratch::MakeRooms() const {
    if (mkdir(Source().c_str(), S_IRWXU) != 0 || mkdir(Target().c_str(), S_IRWXU) != 0) {
        const int error = errno;
        throw SystemFailure("cannot make directories in " + _directory.Path(), error);
    }
}

bool PrivateScratch::GiveToNobody() const {
    std::error_code error;
    for (const fs::directory_entry& entry :
         fs::recursive_directory_iterator(_directory.Path(), error)) {
        if (lchown(entry.path().c_str(), kNobody, kNobody) != 0) {
            return false;
        }
    }
    return !error;
}

uintmax_t PrivateScratch::SizeOfTarget() const {
    constexpr uintmax_t kBlock = 512;  // unit of st_blocks on every file system
    uintmax_t size = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator
             entry(Target(), fs::directory_options::skip_permission_denied, error),
         end;
         !error && entry != end; entry.increment(error)) {
        struct stat status {};
        size += lstat(entry->path().c_str(), &status) == 0
                    ? static_cast<uintmax_t>(status.st_blocks) * kBlock
                    : 0;
    }
    return size;
}

void PrivateScratch::Publish(const std::string& target) const {
    const support::Descriptor made = OpenFolder(Target());
    const support::Descriptor published = OpenFolder(target);
    std::array<char, EXCHANGE_NAME> failed{};
    if (!made || !published || exchange_publish(made.Get(), published.Get(), failed.data()) != 0) {
        const int error = errno;
        throw SystemFailure("cannot move the product to " + target + failed.data(), error);
    }
}

}  // namespace vellumo::engine

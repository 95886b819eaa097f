// SPDX-License-Identifier: Apache-2.0
#include "scratch/Scratch.h"

#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "Failure.h"
#include "exchange/exchange.h"
#include "jail/users.h"
#include "support/Directory.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kNoUser = static_cast<uid_t>(-1);

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

void MakeDirectory(const std::string& path, mode_t mode) {
    if (mkdir(path.c_str(), mode) != 0) {
        const int error = errno;
        throw SystemFailure("cannot make " + path, error);
    }
}

// The processes of a killed engine's sandbox may not have ended yet.
void EndUsersOf(const std::string& leftover) {
    const std::string name = fs::path(leftover).filename().string();
    const char* digits = name.data() + std::strlen(UserBlock::kPrefix);
    unsigned number = 0;
    const auto [end, error] = std::from_chars(digits, name.data() + name.size(), number);
    const uid_t first = users_block(number);
    if (error != std::errc() || end != name.data() + name.size() || first == kNoUser) {
        return;
    }
    for (uid_t user = first; user <= first + USERS_OF_OFFICE; ++user) {
        static_cast<void>(users_end(user));
    }
}

void RemoveLeftover(const std::string& directory) {
    EndUsersOf(directory);
    RemoveTree(directory);
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

UserBlock::UserBlock(const std::string& above) : _directory(above, kPrefix, RemoveLeftover) {
    if (Number() >= USERS_FIRST_CONTAINER) {
        throw Failure(kEngineFailed, "too many commands at a time; wait until some have ended");
    }
}

std::optional<uid_t> UserBlock::User() const {
    const uid_t first = users_block(Number());
    return first != kNoUser ? std::optional(first + USERS_OF_OFFICE) : std::nullopt;
}

PrivateScratch::PrivateScratch(const std::string& above) : _block(above) {
    MakeDirectory(Source(), S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH);
    MakeDirectory(Target(), S_IRWXU);
    _target.emplace(Target(), User().value_or(geteuid()));
}

bool PrivateScratch::IsFull() const {
    return _target->IsFull();
}

void PrivateScratch::Publish(const std::string& target, const products& names) const {
    const support::Descriptor made = OpenFolder(Target());
    const support::Descriptor published = OpenFolder(target);
    std::array<char, EXCHANGE_NAME> failed{};
    if (!made || !published ||
        exchange_publish(made.Get(), published.Get(), &names, failed.data()) != 0) {
        const int error = errno;
        throw SystemFailure("cannot move the product to " + target + failed.data(), error);
    }
}

}  // namespace vellumo::engine

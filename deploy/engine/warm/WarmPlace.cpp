// SPDX-License-Identifier: Apache-2.0
#include "warm/WarmPlace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "Failure.h"
#include "scratch/LockedDirectory.h"
#include "scratch/Scratch.h"
#include "support/Directory.h"

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;
using support::Descriptor;

constexpr const char* kPrefix = ".warm-";

// A record lock, because the kernel tells which process holds it.
struct flock WholeFile() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

void MakeDirectory(const std::string& path) {
    if (mkdir(path.c_str(), S_IRWXU) != 0) {
        const int error = errno;
        throw SystemFailure("cannot make " + path, error);
    }
}

}  // namespace

WarmPlace::WarmPlace(const std::string& above, const std::string& name)
    : _above(above), _path(above + kPrefix + name) {}

std::optional<pid_t> WarmPlace::Keeper() const {
    const Descriptor file(open(LockFile().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    struct flock lock = WholeFile();
    if (!file || fcntl(file.Get(), F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) {
        return std::nullopt;
    }
    return lock.l_pid;
}

bool WarmPlace::IsReady() const {
    return access(Socket().c_str(), F_OK) == 0 && Keeper().has_value();
}

void WarmPlace::Make() {
    if (Socket().size() >= sizeof(sockaddr_un::sun_path)) {
        throw Failure(kEngineFailed,
                      "the socket's path is too long: " + Socket() + "; choose a shorter name");
    }
    MakeDirectory(_path);
    Lock();
    MakeDirectory(Run());
}

// The process must not open the file a second time: closing any descriptor of it would release the
// lock.
void WarmPlace::Lock() {
    _lock = Descriptor(
        open(LockFile().c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    struct flock lock = WholeFile();
    if (!_lock || fcntl(_lock.Get(), F_SETLK, &lock) != 0) {
        const int error = errno;
        throw SystemFailure("cannot lock " + LockFile(), error);
    }
}

bool WarmPlace::IsOwn() const {
    return support::LiesAt(_lock, LockFile());
}

// Renames the directory first, so that its name is free at once. Under the new name, the next
// engine removes it if this process is killed before it has done so.
void WarmPlace::Remove() const {
    const std::string removed = _above + UserBlock::kPrefix + fs::path(_path).filename().string();
    const bool isRenamed = rename(_path.c_str(), removed.c_str()) == 0;
    RemoveTree(isRenamed ? removed : _path);
}

std::vector<std::string> WarmNames(const std::string& above) {
    std::vector<std::string> names;
    for (const std::string& name : support::NamesIn(support::OpenDirectory(above))) {
        if (name.starts_with(kPrefix)) {
            names.push_back(name.substr(std::string(kPrefix).size()));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace vellumo::engine

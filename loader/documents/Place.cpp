// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Place.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <utility>

namespace vellumo::loader {
namespace {

using support::Descriptor;
using support::Uninterrupted;

constexpr int kMostTries = 100;
constexpr size_t kPathSize = 8192;

int FlagsFor(LastLink last) {
    return O_PATH | O_CLOEXEC | (last == LastLink::kOpened ? O_NOFOLLOW : 0);
}

Descriptor Failed(int error) {
    errno = error;
    return {};
}

Descriptor OpenAt(const Descriptor& above, const std::string& path, int flags) {
    return Descriptor(Uninterrupted([&] { return openat(above.Get(), path.c_str(), flags); }));
}

// EAGAIN says that somebody renamed a folder meanwhile and that the kernel cannot tell whether the
// path left the root.
Descriptor OpenBeneath(const Descriptor& root, const std::string& path, int flags,
                       uint64_t resolve) {
    open_how how{};
    how.flags = static_cast<decltype(how.flags)>(flags);
    how.resolve = resolve | RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    for (int tries = 0; tries < kMostTries; ++tries) {
        const long opened = syscall(SYS_openat2, root.Get(), path.c_str(), &how, sizeof(how));
        if (opened >= 0 || (errno != EINTR && errno != EAGAIN)) {
            return Descriptor(static_cast<int>(opened));
        }
    }
    return {};
}

bool LacksOpenat2(int error) {
    return error == ENOSYS || error == EPERM;
}

std::string NameOf(const Descriptor& file) {
    return "/proc/self/fd/" + std::to_string(file.Get());
}

// The path of an open file as the kernel knows it now, without links; "" when it has none.
std::string PathOf(const Descriptor& file) {
    std::array<char, kPathSize> path{};
    const ssize_t length = readlink(NameOf(file).c_str(), path.data(), path.size());
    return length <= 0 || static_cast<size_t>(length) == path.size()
               ? ""
               : std::string(path.data(), static_cast<size_t>(length));
}

bool LiesBeneath(const Descriptor& root, const Descriptor& file) {
    const std::string top = PathOf(root);
    const std::string path = PathOf(file);
    if (!top.starts_with('/') || !path.starts_with('/')) {
        return false;
    }
    return path == top || path.starts_with(top == "/" ? top : top + "/");
}

bool IsLink(const Descriptor& file) {
    struct stat status {};
    return fstat(file.Get(), &status) == 0 && S_ISLNK(status.st_mode);
}

// Opens one component after the other and refuses a link on the way. A link at the end is opened
// itself.
Descriptor OpenStepwise(const Descriptor& root, std::string_view path) {
    constexpr int kFlags = O_PATH | O_CLOEXEC | O_NOFOLLOW;
    Descriptor at = OpenAt(root, ".", kFlags);
    while (at && !path.empty()) {
        const size_t end = std::min(path.find('/'), path.size());
        const std::string name(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
        if (name == "..") {
            return Failed(EXDEV);
        }
        if (IsLink(at)) {
            return Failed(ELOOP);
        }
        at = OpenAt(at, name.empty() ? "." : name, kFlags);
    }
    return at;
}

// Follows links to anywhere, and then looks where it is. Absolute links, and such that leave the
// root and come back, are found in no other way. If there is a link and it leads to nothing, it
// leads out: nobody learns by a link which files exist elsewhere.
Descriptor OpenAndCompare(const Descriptor& root, const std::string& path, int flags) {
    Descriptor file = OpenAt(root, path, flags);
    if (file) {
        return LiesBeneath(root, file) ? std::move(file) : Failed(EXDEV);
    }
    const Descriptor withoutLinks = OpenStepwise(root, path);
    return Failed(withoutLinks || errno == ELOOP ? EXDEV : errno);
}

Descriptor OpenInside(const Descriptor& root, const std::string& path, int flags, Lookup lookup) {
    if (lookup == Lookup::kByKernel) {
        Descriptor file = OpenBeneath(root, path, flags, 0);
        if (file || (errno != EXDEV && errno != EAGAIN && !LacksOpenat2(errno))) {
            return file;
        }
    }
    return OpenAndCompare(root, path, flags);
}

Descriptor OpenWithoutLinks(const Descriptor& root, const std::string& path, LastLink last,
                            Lookup lookup) {
    if (lookup == Lookup::kByKernel) {
        Descriptor file = OpenBeneath(root, path, FlagsFor(last), RESOLVE_NO_SYMLINKS);
        if (file || !LacksOpenat2(errno)) {
            return file;
        }
    }
    Descriptor file = OpenStepwise(root, path);
    return file && last == LastLink::kFollowed && IsLink(file) ? Failed(ELOOP) : std::move(file);
}

Descriptor OpenAtPlace(const Place& place, LastLink last, Lookup lookup) {
    const Descriptor root(
        Uninterrupted([&] { return open(place.root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); }));
    if (!root) {
        return {};
    }
    const std::string path = place.path.empty() ? "." : place.path;
    switch (place.links) {
        case Place::Links::kNone:
            return OpenWithoutLinks(root, path, last, lookup);
        case Place::Links::kInside:
            return OpenInside(root, path, FlagsFor(last), lookup);
        case Place::Links::kAnywhere:
            return OpenAt(root, path, FlagsFor(last));
    }
    return Failed(EINVAL);
}

}  // namespace

OpenedPlace OpenedPlace::Open(const Place& place, LastLink last, Lookup lookup) {
    OpenedPlace opened;
    opened._file = OpenAtPlace(place, last, lookup);
    if (!opened._file || fstat(opened._file.Get(), &opened._status) != 0) {
        opened._error = errno;
    }
    return opened;
}

bool OpenedPlace::IsReadable() const {
    return _file && faccessat(AT_FDCWD, Name().c_str(), R_OK, AT_EACCESS) == 0;
}

std::string OpenedPlace::Name() const {
    return NameOf(_file);
}

}  // namespace vellumo::loader

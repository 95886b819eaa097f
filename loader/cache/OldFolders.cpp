// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/OldFolders.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <vector>

#include "support/Directory.h"

namespace vellumo::loader {
namespace {

using support::Descriptor;
using support::NamesIn;
using support::OpenDirectory;
using support::OpenDirectoryAt;

constexpr std::string_view kName = ".navoea";
constexpr std::string_view kTree = "@navoea";
constexpr std::string_view kProductPrefixes[] = {"NAVODOC_THUMB.", ".navo-"};

// Opens the directory `path`, relative to `top`. Never leaves the top or its file system.
Descriptor OpenBeneath(const Descriptor& top, const std::string& path) {
    open_how how{};
    how.flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;
    const std::string relative = path.empty() ? "." : path;
    return Descriptor(
        static_cast<int>(syscall(SYS_openat2, top.Get(), relative.c_str(), &how, sizeof how)));
}

bool IsRoots(const Descriptor& file) {
    struct stat status {};
    return fstat(file.Get(), &status) == 0 && status.st_uid == 0;
}

// The size of the product `name`; -1 when it is none.
int64_t ProductSize(const Descriptor& folder, const std::string& name) {
    struct stat status {};
    const bool isNamed =
        std::any_of(std::begin(kProductPrefixes), std::end(kProductPrefixes),
                    [&](std::string_view prefix) { return name.starts_with(prefix); });
    const bool isProduct = isNamed &&
                           fstatat(folder.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                           S_ISREG(status.st_mode) && status.st_uid == 0;
    return isProduct ? status.st_size : -1;
}

int64_t SizeOfProducts(const Descriptor& folder) {
    int64_t bytes = 0;
    for (const std::string& name : NamesIn(folder)) {
        bytes += std::max<int64_t>(ProductSize(folder, name), 0);
    }
    return bytes;
}

int64_t SizeOf(const Descriptor& old) {
    int64_t bytes = 0;
    for (const std::string& name : NamesIn(old)) {
        const Descriptor folder = OpenDirectoryAt(old, name);
        bytes += folder && IsRoots(folder) ? SizeOfProducts(folder) : 0;
    }
    return bytes;
}

bool RemoveProducts(const Descriptor& folder) {
    const std::vector<std::string> names = NamesIn(folder);
    return std::all_of(names.begin(), names.end(), [&](const std::string& name) {
        return ProductSize(folder, name) < 0 || unlinkat(folder.Get(), name.c_str(), 0) == 0 ||
               errno == ENOENT;
    });
}

// Something else is in the directory, which stays for that.
bool RemoveIfEmpty(const Descriptor& above, const std::string& name) {
    return unlinkat(above.Get(), name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOTEMPTY ||
           errno == EEXIST || errno == ENOENT;
}

bool EmptyFolder(const Descriptor& old, const std::string& name) {
    const Descriptor folder = OpenDirectoryAt(old, name);
    return !folder || !IsRoots(folder) || (RemoveProducts(folder) && RemoveIfEmpty(old, name));
}

bool Empty(const Descriptor& old) {
    const std::vector<std::string> names = NamesIn(old);
    return std::all_of(names.begin(), names.end(),
                       [&](const std::string& name) { return EmptyFolder(old, name); });
}

std::string Joined(const std::string& above, const std::string& name) {
    return above.empty() ? name : above + '/' + name;
}

using Found = std::function<bool(const OldFolder&)>;

// Looks at the entries of one directory, and adds the directories among them to `waiting`. Returns
// what `found` has returned last.
bool LookInto(const Descriptor& top, const std::string& path, const Found& found,
              std::vector<std::string>& waiting) {
    const Descriptor directory = OpenBeneath(top, path);
    for (const std::string& name : NamesIn(directory)) {
        const bool isTree = path.empty() && name == kTree;
        const Descriptor entry = isTree ? Descriptor() : OpenDirectoryAt(directory, name);
        if (entry && name != kName) {
            waiting.push_back(Joined(path, name));
        } else if (entry && IsRoots(entry) && !found({Joined(path, name), SizeOf(entry)})) {
            return false;
        }
    }
    return true;
}

}  // namespace

void FindOldFolders(const std::string& top, const Found& found,
                    const std::function<bool()>& enters) {
    const Descriptor opened = OpenDirectory(top);
    std::vector<std::string> waiting{""};
    bool goesOn = static_cast<bool>(opened);
    while (goesOn && !waiting.empty() && enters()) {
        const std::string path = std::move(waiting.back());
        waiting.pop_back();
        goesOn = LookInto(opened, path, found, waiting);
    }
}

bool RemoveOldFolder(const std::string& top, const OldFolder& folder) {
    const Descriptor opened = OpenDirectory(top);
    const size_t slash = folder.path.rfind('/');
    const std::string above = slash == std::string::npos ? "" : folder.path.substr(0, slash);
    const Descriptor parent = OpenBeneath(opened, above);
    const Descriptor old = OpenDirectoryAt(parent, std::string(kName));
    return old && IsRoots(old) && Empty(old) && RemoveIfEmpty(parent, std::string(kName));
}

}  // namespace vellumo::loader

// SPDX-License-Identifier: Apache-2.0
#include "directory.h"

#include <fcntl.h>
#include <navo/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

#include "components.h"
#include "fail.h"
#include "support/Directory.h"
#include "support/PrivateFile.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::PathOf;

// A folder of this name is scratch space: the directories in it are their owners' own.
constexpr std::string_view kScratchFolder = "@tmp";
constexpr mode_t kOthers = S_IRWXG | S_IRWXO;

bool IsTrusted(uid_t owner) {
    return owner == 0 || owner == geteuid();
}

// Opens whatever has this name; of a link, the link itself.
Descriptor OpenEntry(const Descriptor& above, const std::string& name) {
    return Descriptor(openat(above.Get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

Descriptor OpenTarget(const Descriptor& above, const Descriptor& link) {
    std::array<char, PATH_MAX> target{};
    if (readlinkat(link.Get(), "", target.data(), target.size() - 1) < 0) {
        return {};
    }
    return Descriptor(openat(above.Get(), target.data(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

// Returns the directory that the opened `entry` is or, as a link, leads to. A link of another user
// could lead root anywhere, so it is refused.
Descriptor AsDirectory(const Descriptor& above, Descriptor entry) {
    struct stat status {};
    if (fstat(entry.Get(), &status) != 0) {
        return {};
    }
    if (S_ISDIR(status.st_mode)) {
        return entry;
    }
    if (!S_ISLNK(status.st_mode)) {
        errno = ENOTDIR;
        return {};
    }
    if (!IsTrusted(status.st_uid)) {
        errno = ELOOP;
        return {};
    }
    return OpenTarget(above, entry);
}

// A new directory under a hidden name. Removes it again unless it has got its own name.
class HiddenDirectory {
public:
    explicit HiddenDirectory(const Descriptor& above)
        : _above(above),
          _name(PathOf(above) + "/.navo-XXXXXX"),
          _isHidden(mkdtemp(_name.data()) != nullptr) {
        _name.erase(0, _name.rfind('/') + 1);
    }
    ~HiddenDirectory() {
        if (_isHidden) {
            const int error = errno;
            unlinkat(_above.Get(), _name.c_str(), AT_REMOVEDIR);
            errno = error;
        }
    }
    HiddenDirectory(const HiddenDirectory&) = delete;
    HiddenDirectory& operator=(const HiddenDirectory&) = delete;

    // Returns an empty descriptor, with errno, also when it could not be made.
    Descriptor Open() const { return _isHidden ? OpenEntry(_above, _name) : Descriptor(); }

    // Returns false, with errno, when that fails; EEXIST: something has the name already.
    bool TakeName(const std::string& name) {
        const int above = _above.Get();
        _isHidden = renameat2(above, _name.c_str(), above, name.c_str(), RENAME_NOREPLACE) != 0;
        if (_isHidden && errno == EINVAL) {  // the file system has only the rename that replaces
            _isHidden = renameat(above, _name.c_str(), above, name.c_str()) != 0;
        }
        return !_isHidden;
    }

private:
    const Descriptor& _above;
    std::string _name;
    bool _isHidden;
};

// Whether this can be the directory that the caller has just made. A user who may write to the
// folder above can have exchanged it for another one, whose owner and mode root must not change. In
// an empty directory of the caller's own there is nothing that another mode could give away.
bool IsNew(const Descriptor& directory) {
    struct stat status {};
    if (fstat(directory.Get(), &status) != 0) {
        return false;
    }
    const bool isFound = status.st_uid == geteuid() && S_ISDIR(status.st_mode) &&
                         (geteuid() != 0 || vellumo::support::NamesIn(directory).empty());
    errno = EPERM;
    return isFound;
}

bool SetAttributes(const Descriptor& directory, const DirectoryAttributes& attributes) {
    const bool keepsOwner = attributes.owner == UID_ERR && attributes.group == UID_ERR;
    if (!keepsOwner &&
        fchownat(directory.Get(), "", attributes.owner, attributes.group, AT_EMPTY_PATH) != 0) {
        return false;
    }
    // The mode of a descriptor that is opened with O_PATH, for which the caller needs no permission
    // to read, can be changed only by its path in /proc.
    return chmod(PathOf(directory).c_str(), attributes.mode) == 0;
}

// Under its own name the directory appears only when it is complete, so that nobody enters or
// fills it before it has its mode.
Descriptor Make(const Descriptor& above, const std::string& name,
                const DirectoryAttributes& attributes) {
    HiddenDirectory hidden(above);
    Descriptor made = hidden.Open();
    if (!made || !IsNew(made) || !SetAttributes(made, attributes) || !hidden.TakeName(name)) {
        return {};
    }
    return made;
}

// Returns the directory `name` in `above`, made if it is missing; an empty descriptor, with errno,
// on failure.
Descriptor Ensure(const Descriptor& above, const std::string& name,
                  const DirectoryAttributes& attributes) {
    Descriptor entry = OpenEntry(above, name);
    if (!entry && errno == ENOENT) {
        Descriptor made = Make(above, name, attributes);
        if (made || errno != EEXIST) {
            return made;
        }
        entry = OpenEntry(above, name);  // another process was faster
    }
    return entry ? AsDirectory(above, std::move(entry)) : Descriptor();
}

// Leaves a directory above scratch files to its owner. False, with errno, when it belongs to a user
// who could read and exchange all that is below it.
bool KeepForOwner(const Descriptor& directory, const std::string& name, const std::string& path) {
    struct stat status {};
    if (fstat(directory.Get(), &status) != 0) {
        return false;
    }
    if (IsTrusted(status.st_uid)) {
        return vellumo::support::RemovePermissions(directory, kOthers);
    }
    syslog(LOG_ERR, "%s belongs to user %u in the path %s; remove it, or give it to root",
           name.c_str(), status.st_uid, path.c_str());
    errno = EPERM;
    return false;
}

// Goes down from the root by descriptors, so that what was checked above is what is used below.
bool EnsureTree(const std::string& path, const DirectoryAttributes& attributes) {
    const std::vector<std::string> names = ComponentsOf(path);
    Descriptor place(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    bool isScratch = false;
    for (size_t i = 0; place && i < names.size(); ++i) {
        const bool isPrivate = isScratch && i + 1 < names.size();
        DirectoryAttributes own = attributes;
        own.mode &= isPrivate ? ~kOthers : ~mode_t{0};
        place = Ensure(place, names[i], own);
        if (isPrivate && place && !KeepForOwner(place, names[i], path)) {
            return false;
        }
        isScratch = isScratch || names[i] == kScratchFolder;
    }
    return static_cast<bool>(place);
}

}  // namespace

bool EnsureDirectory(const std::string& path, const DirectoryAttributes& attributes) {
    const std::string trimmed = path.substr(0, path.find_last_not_of('/') + 1);
    const size_t slash = trimmed.rfind('/');
    if (trimmed.empty()) {
        errno = ENOENT;
        return path.starts_with('/');  // the root always exists
    }
    const std::string folder = slash == std::string::npos ? "." : trimmed.substr(0, slash + 1);
    const Descriptor above(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return above && Ensure(above, trimmed.substr(slash + 1), attributes);
}

}  // namespace NAVO::platform

int NAVOFSMkdirP(const char* path, const char* reserved, BOOL parents, uid_t owner, gid_t group,
                 mode_t mode) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    if (path == nullptr || *path != '/' || reserved != nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const NAVO::platform::DirectoryAttributes attributes{mode, owner, group};
    const bool made = parents != FALSE ? NAVO::platform::EnsureTree(path, attributes)
                                       : NAVO::platform::EnsureDirectory(path, attributes);
    return made ? 0 : Fail(NAVO_ERR_IO);
}

// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "fail.h"
#include "parameters.h"
#include "support/Directory.h"
#include "support/FileCopy.h"
#include "support/TemporaryFile.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::IsSameFile;
using vellumo::support::OpenRegularFile;

constexpr int kOpenFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;  // a pipe must not block
constexpr mode_t kPermissionBits = 0777;
constexpr mode_t kUnfinishedMode = 0600;  // until the source's bits are set

// Returns a pattern for a temporary file: a hidden file in the folder of `path`.
std::string HiddenBeside(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1) + ".navo-XXXXXX";
}

// The destination of a copy. Removes a file that it has created unless that is kept.
class Destination {
public:
    explicit Destination(const char* path) : _path(path) {}
    ~Destination() {
        if (_created) {
            const int error = errno;
            unlink(_path.c_str());
            errno = error;
        }
    }
    Destination(const Destination&) = delete;
    Destination& operator=(const Destination&) = delete;

    // Opens the path and creates a missing file. Returns false, with errno, on failure. An existing
    // file keeps its content until Fill.
    bool Open(bool replace) {
        const int flags = O_WRONLY | kOpenFlags;
        _file = Descriptor(open(_path.c_str(), flags | O_CREAT | O_EXCL, kUnfinishedMode));
        _created = static_cast<bool>(_file);
        if (!_file && errno == EEXIST && replace) {
            _file = Descriptor(open(_path.c_str(), flags));
        }
        return static_cast<bool>(_file);
    }

    // The same with a new hidden file beside the path; TakeName then moves that to the path.
    bool OpenHidden() {
        _name = std::exchange(_path, HiddenBeside(_path));
        _file = vellumo::support::MakeTemporaryFile(_path);
        _created = static_cast<bool>(_file);
        return _created;
    }

    // Renames the hidden file to the path and replaces a file that is there. A replaced file cannot
    // be restored, so from then on the new file is kept.
    bool TakeName() {
        const bool replaces = access(_name.c_str(), F_OK) == 0;
        if (rename(_path.c_str(), _name.c_str()) != 0) {
            return false;
        }
        _path = _name;
        _created = !replaces;
        return true;
    }

    // Closes the file: some file systems report a failed write only now. The content of a hidden
    // file is on the disk before its name is, as with a rename of a file that was written long ago.
    bool Close() { return (_name.empty() || Sync()) && close(_file.Release()) == 0; }

    void Keep() { _created = false; }
    const Descriptor& File() const { return _file; }

private:
    // EINVAL: the file system has no such operation.
    bool Sync() const { return fdatasync(_file.Get()) == 0 || errno == EINVAL; }

    std::string _path;
    std::string _name;  // the path that a hidden file will get
    Descriptor _file;
    bool _created = false;
};

// EPERM is no failure: only the owner may change a file's mode, and some file systems have no mode.
// There, copying the content is enough.
bool SetPermissions(int file, mode_t mode) {
    return fchmod(file, mode & kPermissionBits) == 0 || errno == EPERM;
}

enum class Outcome { Failed, Copied, SameFile };

// Fills the opened `destination`. When the source is the same file, returns SameFile and changes
// nothing: emptying the destination would destroy the source.
Outcome Fill(Destination& destination, const Descriptor& source) {
    struct stat from {};
    struct stat to {};
    if (fstat(source.Get(), &from) != 0 || fstat(destination.File().Get(), &to) != 0) {
        return Outcome::Failed;
    }
    if (IsSameFile(from, to)) {
        return Outcome::SameFile;
    }
    if (!S_ISREG(to.st_mode)) {
        errno = EINVAL;
        return Outcome::Failed;
    }
    return SetPermissions(destination.File().Get(), from.st_mode) &&
                   vellumo::support::CopyContent(source, destination.File()) && destination.Close()
               ? Outcome::Copied
               : Outcome::Failed;
}

int Copy(const char* source, const char* path, bool replace) {
    Destination destination(path);
    const Descriptor sourceFile = OpenRegularFile(source);
    if (!sourceFile || !destination.Open(replace) ||
        Fill(destination, sourceFile) == Outcome::Failed) {
        return Fail(NAVO_ERR_IO);
    }
    destination.Keep();
    return 0;
}

bool AreOneFile(const char* source, const char* path) {
    struct stat one {};
    struct stat two {};
    return stat(source, &one) == 0 && stat(path, &two) == 0 && IsSameFile(one, two);
}

// Does between two file systems what a rename does within one: a process that opens the destination
// finds either the old content or the new content as a whole, also after a failure. Both paths can
// be names of one file here too, when a file system is mounted at two places. The file then stays,
// as it does when a rename gets two names of one file.
int CopyThenRemove(const char* source, const char* path, bool replace) {
    if (replace && AreOneFile(source, path)) {
        return 0;
    }
    Destination destination(path);
    const Descriptor sourceFile = OpenRegularFile(source);
    const bool moved = sourceFile &&
                       (replace ? destination.OpenHidden() : destination.Open(false)) &&
                       Fill(destination, sourceFile) == Outcome::Copied &&
                       (!replace || destination.TakeName()) && unlink(source) == 0;
    if (!moved) {
        return Fail(NAVO_ERR_IO);
    }
    destination.Keep();
    return 0;
}

int Move(const char* source, const char* path, bool replace) {
    const unsigned flags = replace ? 0 : RENAME_NOREPLACE;
    if (renameat2(AT_FDCWD, source, AT_FDCWD, path, flags) == 0) {
        return 0;
    }
    // EXDEV: another file system. EINVAL: the file system does not support RENAME_NOREPLACE.
    if (errno == EXDEV || errno == EINVAL) {
        return CopyThenRemove(source, path, replace);
    }
    return Fail(NAVO_ERR_IO);
}

}  // namespace
}  // namespace NAVO::platform

int NAVOFileCopy(const char* source, const char* destination, const NAVOFILECOPYOPTIONS* options) {
    using NAVO::platform::Fail;
    using NAVO::platform::IsEmpty;
    const NAVO::platform::SuccessKeepsErrno success;
    if (IsEmpty(source) || IsEmpty(destination) || options == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    struct stat status {};
    if (stat(source, &status) != 0) {
        return Fail(NAVO_ERR_IO);
    }
    if (!S_ISREG(status.st_mode)) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
    const bool replace = options->replace != 0;
    return options->move != 0 ? NAVO::platform::Move(source, destination, replace)
                              : NAVO::platform::Copy(source, destination, replace);
}

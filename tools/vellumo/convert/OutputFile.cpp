// SPDX-License-Identifier: Apache-2.0
#include "convert/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>

#include "app/Messages.h"
#include "loader/Text.h"
#include "support/Descriptor.h"
#include "support/FileCopy.h"
#include "support/PrivateFile.h"
#include "support/TemporaryFile.h"

namespace vellumo::cli {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kNewFileMode = 0666;

[[noreturn]] void Refuse(const std::string& path, const std::string& why, const std::string& next) {
    throw Failure({ExitCode::kOutput, "cannot write " + path, why, next, {}});
}

[[noreturn]] void RefuseExisting(const std::string& path) {
    Refuse(path, "it exists already",
           "Overwrite it with --force, or choose another place with -o FILE or -o DIRECTORY.");
}

std::optional<struct stat> StatusOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

bool IsDirectory(const std::string& path) {
    const auto status = StatusOf(path);
    return status && S_ISDIR(status->st_mode);
}

std::string Absolute(const std::string& path) {
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    if (error) {
        Refuse(path, "the current directory is unknown: " + error.message(),
               "Give an absolute path with -o.");
    }
    return absolute.lexically_normal();
}

std::string BaseName(const std::string& realPath) {
    const std::string name = realPath.substr(realPath.rfind('/') + 1);
    const std::string base = name.substr(0, name.rfind('.'));
    return base.empty() ? name : base;  // ".docx" is all extension
}

mode_t Umask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

// Opens the file as what it is: products are regular files, and never links.
support::Descriptor OpenProduct(const std::string& path) {
    return support::Descriptor(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

// The folder of an output, opened once: whatever its users exchange meanwhile, the product comes
// into this folder, under its name, and never goes through a link that has this name.
class OutputFolder {
public:
    explicit OutputFolder(const fs::path& output)
        : _name(output.filename()),
          _folder(open(output.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

    // Returns false, with errno, on failure. EXDEV: `file` is on another file system.
    bool Rename(int folder, const std::string& file, bool replace) const {
        const unsigned flags = replace ? 0 : RENAME_NOREPLACE;
        if (renameat2(folder, file.c_str(), _folder.Get(), _name.c_str(), flags) == 0) {
            return true;
        }
        // EINVAL: the file system has only the rename that replaces.
        return errno == EINVAL && !replace &&
               linkat(folder, file.c_str(), _folder.Get(), _name.c_str(), 0) == 0 &&
               unlinkat(folder, file.c_str(), 0) == 0;
    }

    const support::Descriptor& Get() const { return _folder; }

private:
    std::string _name;
    support::Descriptor _folder;
};

// A new file in the folder under a hidden name. Removes it unless it has got the output's name.
class HiddenFile {
public:
    explicit HiddenFile(const OutputFolder& folder)
        : _folder(folder),
          _name(support::PathOf(folder.Get()) + "/.vellumo-XXXXXX"),
          _file(support::MakeTemporaryFile(_name)),
          _isHidden(static_cast<bool>(_file)) {
        _name.erase(0, _name.rfind('/') + 1);
    }
    ~HiddenFile() {
        if (_isHidden) {
            const int error = errno;
            unlinkat(_folder.Get().Get(), _name.c_str(), 0);
            errno = error;
        }
    }
    HiddenFile(const HiddenFile&) = delete;
    HiddenFile& operator=(const HiddenFile&) = delete;

    // Returns false, with errno, on failure. Some file systems report a failed write only when the
    // file is closed.
    bool Fill(const support::Descriptor& product, mode_t mode) {
        return _file && support::CopyContent(product, _file) && fchmod(_file.Get(), mode) == 0 &&
               close(_file.Release()) == 0;
    }

    bool TakeName(bool replace) {
        _isHidden = !_folder.Rename(_folder.Get().Get(), _name, replace);
        return !_isHidden;
    }

private:
    const OutputFolder& _folder;
    std::string _name;
    support::Descriptor _file;
    bool _isHidden;
};

bool CopyInto(const OutputFolder& folder, const support::Descriptor& product, mode_t mode,
              bool replace) {
    HiddenFile copy(folder);
    return copy.Fill(product, mode) && copy.TakeName(replace);
}

// Products have private permissions; the caller gets a file with ordinary ones. Returns false, with
// errno, on failure.
bool Publish(const std::string& product, const std::string& path, Transfer transfer, bool replace) {
    const support::Descriptor file = OpenProduct(product);
    const OutputFolder folder(path);
    const mode_t mode = kNewFileMode & ~Umask();
    if (!file || !folder.Get()) {
        return false;
    }
    if (transfer == Transfer::kCopy) {
        return CopyInto(folder, file, mode, replace);
    }
    if (fchmod(file.Get(), mode) == 0 && folder.Rename(AT_FDCWD, product, replace)) {
        return true;
    }
    return errno == EXDEV && CopyInto(folder, file, mode, replace) && unlink(product.c_str()) == 0;
}

}  // namespace

OutputPlace::OutputPlace(const std::string& option, size_t documents) {
    if (option == "-") {
        throw Failure({ExitCode::kUsage,
                       "cannot write to the standard output",
                       "-o takes a file or a directory",
                       "Name one, as in -o report.pdf.",
                       {}});
    }
    _path = Absolute(option.empty() ? "." : option);
    _isDirectory = option.empty() || option.back() == '/' || IsDirectory(_path);
    if (!_isDirectory && documents > 1) {
        throw Failure({ExitCode::kUsage,
                       "cannot write " + loader::Count(documents, "document") + " to " + option,
                       "it is not a directory",
                       "Create a directory of this name: mkdir -p " + loader::ShellWord(option),
                       {}});
    }
}

std::string OutputPlace::PathFor(const loader::Document& document,
                                 const std::string& targetType) const {
    return _isDirectory ? fs::path(_path) / (BaseName(document.realPath) + "." + targetType)
                        : fs::path(_path);
}

void CheckOutput(const std::string& path, bool replace) {
    const std::string directory = fs::path(path).parent_path();
    if (!IsDirectory(directory)) {
        Refuse(path, "there is no directory " + directory,
               "Create it: mkdir -p " + loader::ShellWord(directory));
    }
    if (faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        const int error = errno;
        Refuse(path, "you may not write in " + directory + ": " + std::strerror(error),
               "Choose another place with -o.");
    }
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return;
    }
    if (S_ISDIR(status.st_mode)) {
        Refuse(path, "it is a directory", "Choose another name with -o FILE.");
    }
    if (!replace) {
        RefuseExisting(path);
    }
}

void HandOver(const std::string& product, const std::string& path, Transfer transfer,
              bool replace) {
    if (Publish(product, path, transfer, replace)) {
        return;
    }
    const int error = errno;
    if (error == EEXIST && !replace) {
        RefuseExisting(path);
    }
    Refuse(path, std::strerror(error),
           "Check the free space and the permissions there, or choose another place with -o.");
}

}  // namespace vellumo::cli

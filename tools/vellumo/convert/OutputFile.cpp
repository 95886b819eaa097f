// SPDX-License-Identifier: Apache-2.0
#include "convert/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

#include "app/Messages.h"
#include "loader/Text.h"
#include "support/Descriptor.h"
#include "vellumo/utils.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
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

// Reserves a name in a directory with an empty file; removes the file again unless it is kept.
class ReservedName {
public:
    explicit ReservedName(const std::string& path)
        : _path(path),
          _file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode)),
          _error(_file ? 0 : errno) {}
    ~ReservedName() {
        if (_file && !_kept) {
            unlink(_path.c_str());
        }
    }
    ReservedName(const ReservedName&) = delete;
    ReservedName& operator=(const ReservedName&) = delete;

    int Error() const { return _error; }
    void Keep() { _kept = true; }

private:
    const std::string& _path;
    support::Descriptor _file;
    int _error;
    bool _kept = false;
};

void Bring(const std::string& product, const std::string& path, Transfer transfer) {
    errno = 0;
    if (!core::MoveOrCopyFile(product, path, transfer == Transfer::kMove)) {
        const int error = errno;
        Refuse(path, error == 0 ? "the product cannot be moved there" : std::strerror(error),
               "Check the free space and the permissions there, or choose another place with -o.");
    }
    // Products have private permissions; the caller gets a file with ordinary ones.
    chmod(path.c_str(), kNewFileMode & ~Umask());
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
    if (replace) {
        Bring(product, path, transfer);
        return;
    }
    ReservedName name(path);
    if (name.Error() == EEXIST) {
        RefuseExisting(path);
    }
    if (name.Error() != 0) {
        Refuse(path, std::strerror(name.Error()), "Choose another place with -o.");
    }
    Bring(product, path, transfer);
    name.Keep();
}

}  // namespace vellumo::cli

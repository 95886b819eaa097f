// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/CanaryFolder.h"

#include <fcntl.h>
#include <navo/ea.h>
#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "loader/documents/Document.h"
#include "support/Directory.h"

namespace vellumo::loader {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolderOfCanaries = "/docker/@tmp/Vellumo";
constexpr const char* kPrefix = "@canaries-";
constexpr time_t kOldAge = 3600;  // seconds; all samples take a minute

fs::path Samples(const std::string& installed) {
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path inBuildTree = here / "canaries";
    return fs::is_directory(inBuildTree) ? inBuildTree : (here / installed).lexically_normal();
}

[[noreturn]] void FailToMake() {
    throw fs::filesystem_error("cannot create a folder for the sample documents",
                               std::error_code(errno, std::generic_category()));
}

// Removes what killed programs have left. What was kept of their samples goes with the next sweep.
void RemoveLeftovers(const std::string& above) {
    const support::Descriptor directory = support::OpenDirectory(above);
    for (const std::string& name : support::NamesIn(directory)) {
        struct stat status {};
        if (name.starts_with(kPrefix) &&
            fstatat(directory.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            status.st_mtime < std::time(nullptr) - kOldAge) {
            support::RemoveContents(support::OpenDirectoryAt(directory, name));
            unlinkat(directory.Get(), name.c_str(), AT_REMOVEDIR);
        }
    }
}

// Below the first @tmp, the folders are for root alone.
std::string MakeFolder() {
    const std::string above = Resolve(kFolderOfCanaries, "").realPath;
    if (NAVOFSMkdirP(above.c_str(), nullptr, TRUE, UID_ERR, UID_ERR, S_IRWXU) != ERR_SUCCESS) {
        FailToMake();
    }
    RemoveLeftovers(above);
    std::string path = above + "/" + kPrefix + "XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        FailToMake();
    }
    return path;
}

}  // namespace

CanaryFolder::CanaryFolder(const std::string& installed, const std::vector<std::string>& documents)
    : CanaryFolder(MakeFolder()) {
    const fs::path samples = Samples(installed);
    for (const std::string& document : documents) {
        fs::copy_file(samples / document, fs::path(_realPath) / document);
        _products.push_back(Resolve(SharePath() + "/" + document, "").eaDirectory);
    }
}

CanaryFolder::~CanaryFolder() {
    for (const std::string& directory : _products) {
        NAVOEARMDir(1, directory.c_str());
    }
    std::error_code ignored;
    fs::remove_all(_realPath, ignored);
}

std::string CanaryFolder::SharePath() const {
    return std::string(kFolderOfCanaries) + "/" + fs::path(_realPath).filename().string();
}

}  // namespace vellumo::loader

// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/CanaryFolder.h"

#include <navo/ea.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "loader/documents/Document.h"

namespace vellumo::loader {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolderOfCanaries = "/docker/@tmp/Vellumo";

fs::path Samples(const std::string& installed) {
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path inBuildTree = here / "canaries";
    return fs::is_directory(inBuildTree) ? inBuildTree : (here / installed).lexically_normal();
}

std::string MakeFolder() {
    std::string path = Resolve(kFolderOfCanaries, "").realPath;
    fs::create_directories(path);
    path += "/@canaries-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        throw fs::filesystem_error("cannot create a folder for the sample documents",
                                   std::error_code(errno, std::generic_category()));
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

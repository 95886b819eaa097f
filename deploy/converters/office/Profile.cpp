// SPDX-License-Identifier: Apache-2.0
#include "Profile.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Failure.h"
#include "Statuses.h"

namespace vellumo::office {
namespace {

namespace fs = std::filesystem;

constexpr const char* kName = "registrymodifications.xcu";
constexpr const char* kPlaceholder = "@VERSION@";

std::string Read(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The last word of the line "ProductKey=NAME VERSION".
std::string InstalledVersion() {
    const std::string text = Read(VELLUMO_OFFICE_PROGRAM "/bootstraprc");
    const size_t line = text.find("ProductKey=");
    const size_t end = text.find('\n', line);
    const size_t word = text.rfind(' ', end);
    return line == std::string::npos || word == std::string::npos || word < line
               ? ""
               : text.substr(word + 1, end - word - 1);
}

}  // namespace

std::string OwnFiles() {
    return fs::read_symlink("/proc/self/exe").parent_path().parent_path();
}

std::string MakeProfile(const std::string& home) {
    const fs::path original = fs::path(OwnFiles()) / "profile" / kName;
    std::string settings = Read(original);
    const size_t version = settings.find(kPlaceholder);
    if (version == std::string::npos) {
        throw Failure(kCannotPreload, original.string() + " is missing");
    }
    settings.replace(version, std::string(kPlaceholder).size(), InstalledVersion());
    const std::string folder = home + "/profile";
    std::string path = folder + '/' + kName;
    mkdir(folder.c_str(), S_IRWXU);
    std::ofstream file(path);
    file << settings << std::flush;
    if (!file || chmod(path.c_str(), 0444) != 0) {
        throw Failure(kCannotPreload, path + " cannot be written");
    }
    return path;
}

void OpenProfile(const std::string& profile) {
    // The office keeps a new one to its user.
    chmod(fs::path(profile).parent_path().c_str(), 0755);
}

}  // namespace vellumo::office

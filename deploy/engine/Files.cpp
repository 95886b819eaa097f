// SPDX-License-Identifier: Apache-2.0
#include "Files.h"

#include <unistd.h>

#include <filesystem>

#include "Failure.h"

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;

fs::path Here() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

}  // namespace

std::string FindData() {
    const fs::path here = Here();
    for (const char* place : {"engine-data", VELLUMO_ENGINE_DATA}) {
        if (fs::is_directory(here / place)) {
            return here / place;
        }
    }
    throw Failure(kEngineFailed, "its files are missing from " +
                                     (here / VELLUMO_ENGINE_DATA).string() +
                                     "; install Vellumo again");
}

std::string FindFront(const std::string& tool) {
    const fs::path front = Here() / "tools" / tool;
    return access(front.c_str(), X_OK) == 0 ? front.string() : "";
}

}  // namespace vellumo::engine

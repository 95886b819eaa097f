// SPDX-License-Identifier: Apache-2.0
#include "path/ExtendedAttributes.h"

#include <navo/ea.h>
#include <navo/file.h>

#include <array>

#include "common/Log.h"
#include "common/RunAs.h"

namespace NAVO::VELLUMO::ea {
namespace {

constexpr size_t kPathSize = 4096;
using PathBuffer = std::array<char, kPathSize>;

}  // namespace

bool DirectoryOf(const std::string& file, std::string& directory) {
    PathBuffer buffer{};
    if (NAVOEADirPath(0, file.c_str(), buffer.data(), buffer.size()) != 0) {
        return false;
    }
    directory = buffer.data();
    return true;
}

int StreamOf(const std::string& file, const std::string& stream, std::string& path) {
    PathBuffer buffer{};
    const int result = NAVOEAPath(0, file.c_str(), stream.c_str(), buffer.data(), buffer.size(), 0);
    if (result >= 0) {
        path = buffer.data();
    }
    return result;
}

Presence EnsureDirectory(const std::string& directory, const Asker& asker) {
    if (NLIBCFileCheckDir(directory.c_str()) != FALSE) {
        return Presence::kThere;
    }
    const RunAsRoot root(asker.source, asker.line);
    if (!root) {
        log::Error(asker.source, asker.line, "%s", asker.notRoot);
        return Presence::kNotRoot;
    }
    return NAVOEAMKDir(1, directory.c_str()) == 0 ? Presence::kThere : Presence::kNotMade;
}

}  // namespace NAVO::VELLUMO::ea

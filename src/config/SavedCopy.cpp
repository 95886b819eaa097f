// SPDX-License-Identifier: Apache-2.0
#include "config/SavedCopy.h"

#include <unistd.h>

#include <fstream>
#include <iterator>

#include "common/KeptErrno.h"
#include "support/PrivateFile.h"

namespace NAVO::VELLUMO {
namespace {

std::string CopyOf(const std::string& file) {
    return file + ".copy";
}

std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

SavedCopy::SavedCopy(const std::string& file, const std::string& text) : _path(CopyOf(file)) {
    const KeptErrno errors;
    vellumo::support::EnsurePrivateFile(_path);
    std::ofstream copy(_path, std::ios::trunc | std::ios::binary);
    if (copy.is_open()) {
        copy << text;
        copy.flush();
        _hasNoSpace = !copy.good();
    }
    if (_hasNoSpace) {
        Remove();
    }
}

void SavedCopy::Remove() const {
    const KeptErrno errors;
    unlink(_path.c_str());
}

// The file may also end in NULs: a power cut can leave the new length without the new content.
std::string CopyOfTorn(const std::string& file) {
    const std::string copy = Content(CopyOf(file));
    std::string torn = Content(file);
    torn.erase(torn.find_last_not_of('\0') + 1);
    return copy.starts_with(torn) ? copy : "";
}

}  // namespace NAVO::VELLUMO

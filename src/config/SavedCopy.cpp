// SPDX-License-Identifier: Apache-2.0
#include "config/SavedCopy.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
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

// A power cut can leave the new length without the new content.
std::string WithoutNuls(std::string text) {
    text.erase(text.find_last_not_of('\0') + 1);
    return text;
}

// Whether the file holds less than its copy.
bool IsTorn(const std::string& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    const std::string copy = Content(CopyOf(file));
    return !copy.empty() && WithoutNuls(Content(file)).size() < copy.size() &&
           !CopyOfTorn(file).empty();
}

}  // namespace

// An older copy stays until the new one is whole: the file may be torn from an earlier save.
SavedCopy::SavedCopy(const std::string& file, const std::string& text) : _path(CopyOf(file)) {
    const KeptErrno errors;
    const std::string part = _path + ".new";
    vellumo::support::EnsurePrivateFile(part);
    std::ofstream copy(part, std::ios::trunc | std::ios::binary);
    if (!copy.is_open()) {
        return;
    }
    copy << text;
    copy.close();
    _hasNoSpace = !copy.good();
    // What is left of an earlier text would be no part of the new copy.
    const bool isReady = !_hasNoSpace && (!IsTorn(file) || truncate(file.c_str(), 0) == 0);
    if (!isReady || rename(part.c_str(), _path.c_str()) != 0) {
        unlink(part.c_str());
    }
}

void SavedCopy::Remove() const {
    const KeptErrno errors;
    unlink(_path.c_str());
}

std::string CopyOfTorn(const std::string& file) {
    const std::string copy = Content(CopyOf(file));
    return copy.starts_with(WithoutNuls(Content(file))) ? copy : "";
}

}  // namespace NAVO::VELLUMO

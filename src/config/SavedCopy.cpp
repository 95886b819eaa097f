// SPDX-License-Identifier: Apache-2.0
#include "config/SavedCopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "common/KeptErrno.h"
#include "support/Descriptor.h"
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

bool Overwrite(const std::string& file, const std::string& text) {
    constexpr off_t kBlock = 512;  // unit of st_blocks on every file system
    const vellumo::support::Descriptor open(
        ::open(file.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
    const auto size = static_cast<off_t>(text.size());
    struct stat status {};
    const bool done =
        open && fstat(open.Get(), &status) == 0 && status.st_blocks * kBlock >= size &&
        pwrite(open.Get(), text.data(), text.size(), 0) == size && ftruncate(open.Get(), size) == 0;
    if (done) {
        unlink(CopyOf(file).c_str());  // an older one
    }
    return done;
}

std::string CopyOfTorn(const std::string& file) {
    const std::string copy = Content(CopyOf(file));
    return copy.starts_with(WithoutNuls(Content(file))) ? copy : "";
}

}  // namespace NAVO::VELLUMO

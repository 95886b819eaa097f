// SPDX-License-Identifier: Apache-2.0
#include "Inherited.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

#include "support/Descriptor.h"
#include "support/Directory.h"

namespace vellumo::office {
namespace {

using support::Descriptor;

std::vector<int> officesFiles;

std::vector<int> OpenFiles() {
    const Descriptor directory = support::OpenDirectory("/proc/self/fd");
    std::vector<int> files;
    for (const std::string& name : support::NamesIn(directory)) {
        int file = -1;
        std::from_chars(name.data(), name.data() + name.size(), file);
        if (file != directory.Get()) {
            files.push_back(file);
        }
    }
    return files;
}

template <typename Files>
bool Has(const Files& files, int file) {
    return std::find(files.begin(), files.end(), file) != files.end();
}

bool IsOpen(int file) {
    return fcntl(file, F_GETFD) >= 0;
}

bool IsWritable(int file) {
    const int flags = fcntl(file, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

}  // namespace

void SealOfficesFiles(const std::vector<int>& own) {
    officesFiles = OpenFiles();
    // A closed one was OpenFiles()' own.
    std::erase_if(officesFiles, [&own](int file) { return !IsOpen(file) || Has(own, file); });
    const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int file : officesFiles) {
        if (file > STDERR_FILENO && IsWritable(file)) {
            dup3(nothing.Get(), file, O_CLOEXEC);
        }
    }
}

void CloseOwnFiles(std::initializer_list<int> kept) {
    for (const int file : OpenFiles()) {
        if (!Has(officesFiles, file) && !Has(kept, file)) {
            close(file);
        }
    }
    const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    dup2(nothing.Get(), STDOUT_FILENO);
    dup2(nothing.Get(), STDERR_FILENO);
}

}  // namespace vellumo::office

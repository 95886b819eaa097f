// SPDX-License-Identifier: Apache-2.0
// Gives the fuzzed functions each file of a folder, and each beginning of each: FOLDER
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "Fuzz.h"

namespace {

// A copy of its own, so that a sanitizer sees what reads beyond its end.
void Read(const std::vector<char>& bytes, size_t size) {
    const std::vector<uint8_t> copy(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

}  // namespace

int main(int argc, char** argv) {
    vellumo::test::Require(argc == 2, "one folder is named");
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        for (size_t size = 0; size <= bytes.size(); ++size) {
            Read(bytes, size);
        }
        ++files;
    }
    vellumo::test::Require(files > 0, "the folder has files");
    std::printf("%d files\n", files);
    return 0;
}

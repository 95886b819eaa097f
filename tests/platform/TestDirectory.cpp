// SPDX-License-Identifier: Apache-2.0
#include "TestDirectory.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace navo::test {
namespace {

constexpr uid_t kNobody = 65534;

}  // namespace

TestDirectory::TestDirectory(const std::string& above) : _path(above + "/navo-test-XXXXXX") {
    if (mkdtemp(_path.data()) == nullptr || chmod(_path.c_str(), 0777) != 0) {
        ADD_FAILURE() << "cannot make a directory in " << above;
    }
}

TestDirectory::~TestDirectory() {
    if (testing::Test::HasFailure()) {
        GTEST_LOG_(INFO) << "kept: " << _path;
        return;
    }
    std::error_code error;
    std::filesystem::remove_all(_path, error);
}

void WriteFile(const std::string& path, const std::string& content, mode_t mode) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    ASSERT_TRUE(file && chmod(path.c_str(), mode) == 0) << "cannot write " << path;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct stat StatusOf(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        status = {};
    }
    return status;
}

bool Exists(const std::string& path) {
    return StatusOf(path).st_ino != 0;
}

mode_t PermissionsOf(const std::string& path) {
    return StatusOf(path).st_mode & 07777;
}

OrdinaryUser::OrdinaryUser() : _user(geteuid()), _group(getegid()) {
    if (_user == 0 && setegid(kNobody) == 0 && seteuid(kNobody) != 0) {
        EXPECT_EQ(setegid(_group), 0);
    }
}

OrdinaryUser::~OrdinaryUser() {
    if (geteuid() != _user) {
        EXPECT_EQ(seteuid(_user), 0);
        EXPECT_EQ(setegid(_group), 0);
    }
}

OrdinaryUser::operator bool() const {
    return geteuid() != 0;
}

}  // namespace navo::test

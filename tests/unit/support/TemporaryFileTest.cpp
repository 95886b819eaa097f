// SPDX-License-Identifier: Apache-2.0
#include "support/TemporaryFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace vellumo::support {
namespace {

using testing::MatchesRegex;

bool IsInherited(const Descriptor& file) {
    return (fcntl(file.Get(), F_GETFD) & FD_CLOEXEC) == 0;
}

TEST(TemporaryFile, IsNewPrivateAndNotInherited) {
    std::string name = "/tmp/vellumo-XXXXXX.pdf";
    const Descriptor file = MakeTemporaryFile(name, 4);
    ASSERT_TRUE(file) << errno;
    EXPECT_THAT(name, MatchesRegex("/tmp/vellumo-......\\.pdf"));
    EXPECT_FALSE(IsInherited(file));
    struct stat status {};
    ASSERT_EQ(stat(name.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(status.st_size, 0);
    unlink(name.c_str());
}

TEST(TemporaryFile, SaysWhyItCannotBeMade) {
    std::string name = "/nowhere/XXXXXX";
    EXPECT_FALSE(MakeTemporaryFile(name));
    EXPECT_EQ(errno, ENOENT);
}

TEST(TemporaryFile, WithoutANameIsAtNoPathAndNotInherited) {
    const Descriptor file = OpenNamelessFile();
    ASSERT_TRUE(file) << errno;
    struct stat status {};
    ASSERT_EQ(fstat(file.Get(), &status), 0);
    EXPECT_EQ(status.st_nlink, 0U);
    EXPECT_FALSE(IsInherited(file));
}

TEST(TemporaryFile, IsReadFromItsEnd) {
    const Descriptor file = OpenNamelessFile();
    ASSERT_EQ(write(file.Get(), "0123456789", 10), 10);
    EXPECT_EQ(ReadTail(file, 4), "6789");
    EXPECT_EQ(ReadTail(file, 100), "0123456789");
}

}  // namespace
}  // namespace vellumo::support

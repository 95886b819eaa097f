// SPDX-License-Identifier: Apache-2.0
#include "support/FileCopy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "support/TemporaryFile.h"

namespace vellumo::support {
namespace {

std::string ContentOf(const Descriptor& file) {
    return ReadTail(file, size_t{8} << 20);
}

Descriptor FileWith(const std::string& content) {
    Descriptor file = OpenNamelessFile();
    EXPECT_EQ(write(file.Get(), content.data(), content.size()),
              static_cast<ssize_t>(content.size()));
    return file;
}

TEST(FileCopy, HasTheContentWhereverThePositionsAre) {
    const std::string content(300000, 'x');
    const Descriptor from = FileWith(content);
    const Descriptor to = FileWith("old and more");
    ASSERT_TRUE(CopyContent(from, to));
    EXPECT_TRUE(ContentOf(to) == content);
}

TEST(FileCopy, OfAnEmptyFileIsEmpty) {
    const Descriptor to = FileWith("old");
    ASSERT_TRUE(CopyContent(FileWith(""), to));
    EXPECT_EQ(ContentOf(to), "");
}

TEST(FileCopy, KeepsAHoleAtTheEnd) {
    const Descriptor from = FileWith("data");
    ASSERT_EQ(ftruncate(from.Get(), 1 << 20), 0);
    const Descriptor to = FileWith("");
    ASSERT_TRUE(CopyContent(from, to));
    struct stat status {};
    ASSERT_EQ(fstat(to.Get(), &status), 0);
    EXPECT_EQ(status.st_size, 1 << 20);
    EXPECT_LT(status.st_blocks * 512, 1 << 19);
}

TEST(FileCopy, EndsAfterAMebibyteOfAFileWithoutASize) {
    const Descriptor from(open("/dev/zero", O_RDONLY | O_CLOEXEC));
    const Descriptor to = FileWith("");
    ASSERT_TRUE(CopyContent(from, to));
    EXPECT_EQ(ContentOf(to).size(), size_t{1} << 20);
}

TEST(FileCopy, OpensRegularFilesOnly) {
    EXPECT_TRUE(OpenRegularFile("/proc/self/status"));
    EXPECT_FALSE(OpenRegularFile("/dev/zero"));
    EXPECT_EQ(errno, EINVAL);
    EXPECT_FALSE(OpenRegularFile("/tmp"));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_FALSE(OpenRegularFile("/nowhere/x"));
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace vellumo::support

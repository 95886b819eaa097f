// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <navo/ea.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>

#include "Outcome.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

constexpr Failure kBadParameters{NAVO_ERR_BAD_PARAMETERS, EINVAL, "ea.cpp"};
constexpr Failure kTooLong{NAVO_ERR_NAME_TOO_LONG, ENAMETOOLONG, "ea.cpp"};

constexpr std::array<const char*, 12> kBadPaths = {
    nullptr,    "",           "a.docx",    "docs/a.docx", "/",       "/docs/",
    "/docs/..", "/docs/../a", "/docs/a/.", "/../a.pdf",   "/docs/.", ".."};

class EAPathTest : public testing::Test {
protected:
    std::array<char, 4096> buffer{};
};

TEST_F(EAPathTest, DirectoryLiesBesideTheFile) {
    ExpectSuccess([&] { return NAVOEADirPath(0, "/v/docs/a.docx", buffer.data(), buffer.size()); },
                  0);
    EXPECT_STREQ(buffer.data(), "/v/docs/.navoea/a.docx");
}

TEST_F(EAPathTest, DirectoryOfAFileInTheRootFolder) {
    ASSERT_EQ(NAVOEADirPath(0, "/a.docx", buffer.data(), buffer.size()), 0);
    EXPECT_STREQ(buffer.data(), "/.navoea/a.docx");
}

TEST_F(EAPathTest, NamesWithDotsAreOrdinary) {
    ASSERT_EQ(NAVOEADirPath(0, "/docs/..a/...", buffer.data(), buffer.size()), 0);
    EXPECT_STREQ(buffer.data(), "/docs/..a/.navoea/...");
}

TEST_F(EAPathTest, StreamLiesInTheDirectory) {
    ExpectSuccess(
        [&] { return NAVOEAPath(0, "/v/a.docx", "THUMB.pdf", buffer.data(), buffer.size(), 0); },
        0);
    EXPECT_STREQ(buffer.data(), "/v/.navoea/a.docx/THUMB.pdf");
}

TEST_F(EAPathTest, EmptyStreamIsTheDirectory) {
    ASSERT_EQ(NAVOEAPath(0, "/v/a.docx", "", buffer.data(), buffer.size(), 0), 0);
    EXPECT_STREQ(buffer.data(), "/v/.navoea/a.docx");
}

TEST_F(EAPathTest, RefusesPathsThatAreNoFiles) {
    for (const char* path : kBadPaths) {
        SCOPED_TRACE(path == nullptr ? "(null)" : path);
        ExpectFailure([&] { return NAVOEADirPath(0, path, buffer.data(), buffer.size()); }, -1,
                      kBadParameters);
        ExpectFailure([&] { return NAVOEAPath(0, path, "s", buffer.data(), buffer.size(), 0); }, -1,
                      kBadParameters);
    }
}

TEST_F(EAPathTest, RefusesStreamsThatLeaveTheDirectory) {
    for (const char* stream : {static_cast<const char*>(nullptr), ".", "..", "/", "a/b", "../x"}) {
        SCOPED_TRACE(stream == nullptr ? "(null)" : stream);
        ExpectFailure(
            [&] { return NAVOEAPath(0, "/v/a", stream, buffer.data(), buffer.size(), 0); }, -1,
            kBadParameters);
    }
}

TEST_F(EAPathTest, RefusesOtherFlagsAndNoBuffer) {
    ExpectFailure([&] { return NAVOEADirPath(1, "/v/a", buffer.data(), buffer.size()); }, -1,
                  kBadParameters);
    ExpectFailure([&] { return NAVOEADirPath(0, "/v/a", nullptr, 10); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOEAPath(1, "/v/a", "s", buffer.data(), buffer.size(), 0); }, -1,
                  kBadParameters);
    ExpectFailure([&] { return NAVOEAPath(0, "/v/a", "s", buffer.data(), buffer.size(), 1); }, -1,
                  kBadParameters);
    ExpectFailure([&] { return NAVOEAPath(0, "/v/a", "s", nullptr, 10, 0); }, -1, kBadParameters);
}

TEST_F(EAPathTest, NeedsRoomForTheTerminatingNull) {
    const std::string result = "/v/.navoea/a";
    ExpectFailure([&] { return NAVOEADirPath(0, "/v/a", buffer.data(), result.size()); }, -1,
                  kTooLong);
    ExpectSuccess([&] { return NAVOEADirPath(0, "/v/a", buffer.data(), result.size() + 1); }, 0);
    EXPECT_EQ(buffer.data(), result);
}

TEST_F(EAPathTest, RefusesABufferWithoutRoom) {
    ExpectFailure([&] { return NAVOEADirPath(0, "/v/a", buffer.data(), 0); }, -1, kTooLong);
    ExpectFailure([&] { return NAVOEAPath(0, "/v/a", "s", buffer.data(), 12, 0); }, -1, kTooLong);
}

TEST_F(EAPathTest, RefusesAPathThatIsTooLong) {
    const std::string path = "/" + std::string(buffer.size(), 'x');
    ExpectFailure([&] { return NAVOEADirPath(0, path.c_str(), buffer.data(), buffer.size()); }, -1,
                  kTooLong);
}

class EADirectoryTest : public DirectoryTest {
protected:
    const std::string parent = At(".navoea");
    const std::string made = At(".navoea/a.docx");
};

TEST_F(EADirectoryTest, IsMadeWithItsParentWhateverTheUmask) {
    const Umask mask(077);
    ExpectSuccess([&] { return NAVOEAMKDir(1, made.c_str()); }, 0);
    EXPECT_EQ(PermissionsOf(parent), 0755);
    EXPECT_EQ(PermissionsOf(made), 0755);
}

TEST_F(EADirectoryTest, BelongsToTheEffectiveIds) {
    chmod(directory.Path().c_str(), 02777);
    const OrdinaryUser user;
    if (!user) {
        GTEST_SKIP() << "no other user to be";
    }
    ASSERT_EQ(NAVOEAMKDir(1, made.c_str()), 0);
    for (const std::string& path : {parent, made}) {
        EXPECT_EQ(StatusOf(path).st_uid, geteuid());
        EXPECT_EQ(StatusOf(path).st_gid, getegid());
        EXPECT_EQ(PermissionsOf(path), 0755);
    }
}

TEST_F(EADirectoryTest, MayExistAlready) {
    ASSERT_EQ(NAVOEAMKDir(1, made.c_str()), 0);
    chmod(made.c_str(), 0700);
    ExpectSuccess([&] { return NAVOEAMKDir(1, made.c_str()); }, 0);
    EXPECT_EQ(PermissionsOf(made), 0700);
}

TEST_F(EADirectoryTest, NeedsTheFolderOfTheFile) {
    ExpectFailure([&] { return NAVOEAMKDir(1, At("none/.navoea/a").c_str()); }, -1,
                  {NAVO_ERR_IO, ENOENT, "ea.cpp"});
    EXPECT_FALSE(Exists(At("none")));
}

TEST_F(EADirectoryTest, IsNotMadeInThePlaceOfAFile) {
    WriteFile(parent, "");
    ExpectFailure([&] { return NAVOEAMKDir(1, made.c_str()); }, -1,
                  {NAVO_ERR_IO, ENOTDIR, "ea.cpp"});
}

TEST_F(EADirectoryTest, DoesNotFollowALink) {
    ASSERT_EQ(mkdir(At("elsewhere").c_str(), 0755), 0);
    ASSERT_EQ(symlink(At("elsewhere").c_str(), parent.c_str()), 0);
    ExpectFailure([&] { return NAVOEAMKDir(1, made.c_str()); }, -1,
                  {NAVO_ERR_IO, ENOTDIR, "ea.cpp"});
    EXPECT_FALSE(Exists(At("elsewhere/a.docx")));
}

TEST_F(EADirectoryTest, IsRefusedWhenItIsNone) {
    for (const char* path : kBadPaths) {
        SCOPED_TRACE(path == nullptr ? "(null)" : path);
        ExpectFailure([&] { return NAVOEAMKDir(1, path); }, -1, kBadParameters);
    }
    for (const std::string& path :
         {At("docs"), At("x.navoea/a"), At(".navoea"), At(".navoea/"), At(".navoea/..")}) {
        SCOPED_TRACE(path);
        ExpectFailure([&] { return NAVOEAMKDir(1, path.c_str()); }, -1, kBadParameters);
    }
    ExpectFailure([&] { return NAVOEAMKDir(0, made.c_str()); }, -1, kBadParameters);
    EXPECT_FALSE(Exists(parent));
}

}  // namespace
}  // namespace navo::test

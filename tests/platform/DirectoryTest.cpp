// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Outcome.h"
#include "Process.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

constexpr Failure kBadParameters{NAVO_ERR_BAD_PARAMETERS, EINVAL, "directory.cpp"};

constexpr Failure IOFailure(int error) {
    return {NAVO_ERR_IO, error, "directory.cpp"};
}

int Make(const std::string& path, BOOL parents, mode_t mode = 0755) {
    return NAVOFSMkdirP(path.c_str(), nullptr, parents, UID_ERR, UID_ERR, mode);
}

class MakeDirectoryTest : public DirectoryTest {};

TEST_F(MakeDirectoryTest, CreatesMissingParents) {
    ExpectSuccess([&] { return Make(At("a/b/c"), TRUE); }, 0);
    EXPECT_TRUE(S_ISDIR(StatusOf(At("a/b/c")).st_mode));
}

TEST_F(MakeDirectoryTest, GivesTheModeWhateverTheUmask) {
    const Umask mask(0777);
    ASSERT_EQ(Make(At("a/b"), TRUE, 0751), 0);
    EXPECT_EQ(PermissionsOf(At("a")), 0751);
    EXPECT_EQ(PermissionsOf(At("a/b")), 0751);
    ASSERT_EQ(Make(At("open"), FALSE, 01777), 0);
    EXPECT_EQ(PermissionsOf(At("open")), 01777);
}

TEST_F(MakeDirectoryTest, GivesTheModeBelowASetGroupIdDirectory) {
    ASSERT_EQ(chmod(directory.Path().c_str(), 02777), 0);
    ASSERT_EQ(Make(At("a"), FALSE, 0750), 0);
    EXPECT_EQ(PermissionsOf(At("a")), 0750);
}

TEST_F(MakeDirectoryTest, LeavesWhatExists) {
    ASSERT_EQ(mkdir(At("a").c_str(), 0700), 0);
    ExpectSuccess([&] { return Make(At("a"), FALSE); }, 0);
    ExpectSuccess([&] { return Make(At("a/b"), TRUE); }, 0);
    EXPECT_EQ(PermissionsOf(At("a")), 0700);
}

TEST_F(MakeDirectoryTest, TakesALinkToADirectoryForOne) {
    ASSERT_EQ(symlink(directory.Path().c_str(), At("link").c_str()), 0);
    ExpectSuccess([&] { return Make(At("link/a"), TRUE); }, 0);
    EXPECT_TRUE(Exists(At("a")));
}

TEST_F(MakeDirectoryTest, TakesSlashesAtTheEndAndInARow) {
    ExpectSuccess([&] { return Make(At("a//b/"), TRUE); }, 0);
    EXPECT_TRUE(Exists(At("a/b")));
    ExpectSuccess([] { return Make("/", TRUE); }, 0);
}

TEST_F(MakeDirectoryTest, GivesTheOwnerAndTheGroup) {
    if (geteuid() != 0 || chown(directory.Path().c_str(), 1, 1) != 0) {
        GTEST_SKIP() << "may not give a directory away";
    }
    ExpectSuccess([&] { return NAVOFSMkdirP(At("a/b").c_str(), nullptr, TRUE, 65534, 12, 02770); },
                  0);
    for (const std::string& path : {At("a"), At("a/b")}) {
        EXPECT_EQ(StatusOf(path).st_uid, 65534U);
        EXPECT_EQ(StatusOf(path).st_gid, 12U);
        EXPECT_EQ(PermissionsOf(path), 02770);
    }
    ASSERT_EQ(NAVOFSMkdirP(At("c").c_str(), nullptr, TRUE, UID_ERR, 12, 0755), 0);
    EXPECT_EQ(StatusOf(At("c")).st_uid, 0U);
    EXPECT_EQ(StatusOf(At("c")).st_gid, 12U);
}

TEST_F(MakeDirectoryTest, LeavesNoDirectoryThatCouldNotBeGivenAway) {
    const OrdinaryUser user;
    if (!user) {
        GTEST_SKIP() << "no other user to be";
    }
    ExpectFailure([&] { return NAVOFSMkdirP(At("a").c_str(), nullptr, TRUE, 1, UID_ERR, 0755); },
                  -1, IOFailure(EPERM));
    EXPECT_FALSE(Exists(At("a")));
}

TEST_F(MakeDirectoryTest, NeedsTheParentWithoutLeaveToMakeIt) {
    ExpectFailure([&] { return Make(At("a/b"), FALSE); }, -1, IOFailure(ENOENT));
    EXPECT_FALSE(Exists(At("a")));
}

TEST_F(MakeDirectoryTest, KeepsAFileThatIsInTheWay) {
    WriteFile(At("file"), "content");
    ExpectFailure([&] { return Make(At("file"), TRUE); }, -1, IOFailure(ENOTDIR));
    ExpectFailure([&] { return Make(At("file/a"), TRUE); }, -1, IOFailure(ENOTDIR));
    ExpectFailure([&] { return Make(At("file/a"), FALSE); }, -1, IOFailure(ENOTDIR));
    EXPECT_EQ(ReadFile(At("file")), "content");
}

TEST_F(MakeDirectoryTest, KeepsTheParentsThatItMade) {
    WriteFile(At("file"), "");
    const std::string longName(300, 'x');
    ExpectFailure([&] { return Make(At("a/b/" + longName), TRUE); }, -1, IOFailure(ENAMETOOLONG));
    EXPECT_TRUE(Exists(At("a/b")));
}

TEST_F(MakeDirectoryTest, RefusesBadParameters) {
    ExpectFailure([] { return NAVOFSMkdirP(nullptr, nullptr, TRUE, UID_ERR, UID_ERR, 0755); }, -1,
                  kBadParameters);
    ExpectFailure([] { return Make("", TRUE); }, -1, kBadParameters);
    ExpectFailure([] { return Make("relative/a", TRUE); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOFSMkdirP(At("a").c_str(), "x", TRUE, UID_ERR, UID_ERR, 0755); },
                  -1, kBadParameters);
    EXPECT_FALSE(Exists(At("a")));
}

TEST_F(MakeDirectoryTest, SucceedsInEachOfSeveralProcesses) {
    constexpr int kProcesses = 6;
    constexpr int kTrees = 40;
    const auto makeTrees = [&](int) {
        int failures = 0;
        for (int tree = 0; tree < kTrees; ++tree) {
            failures += Make(At(std::to_string(tree) + "/b/c/d"), TRUE) == 0 ? 0 : 1;
        }
        return failures;
    };
    EXPECT_THAT(vellumo::test::RunAtOnce(kProcesses, makeTrees), testing::Each(0))
        << "trees that one process failed to make";
    EXPECT_TRUE(Exists(At(std::to_string(kTrees - 1) + "/b/c/d")));
}

}  // namespace
}  // namespace navo::test

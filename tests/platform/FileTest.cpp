// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <string>

#include "Outcome.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

constexpr Failure kBadParameters{NAVO_ERR_BAD_PARAMETERS, EINVAL, "file.cpp"};

// What NLIBCFileExist and NLIBCFileCheckDir have in common.
class LookTest : public DirectoryTest, public testing::WithParamInterface<BOOL (*)(const char*)> {
protected:
    static BOOL Look(const std::string& path) { return GetParam()(path.c_str()); }
};

TEST_P(LookTest, SeesADirectory) {
    ExpectSuccess([&] { return Look(directory.Path()); }, TRUE);
}

TEST_P(LookTest, FollowsALink) {
    ASSERT_EQ(symlink(directory.Path().c_str(), At("link").c_str()), 0);
    ExpectSuccess([&] { return Look(At("link")); }, TRUE);
}

TEST_P(LookTest, TakesAbsenceForAnAnswer) {
    WriteFile(At("file"), "");
    ASSERT_EQ(symlink(At("none").c_str(), At("dangling").c_str()), 0);
    for (const std::string& path : {At("none"), At("none/x"), At("file/x"), At("dangling")}) {
        const LastError before;
        EXPECT_EQ(Look(path), FALSE) << path;
        EXPECT_EQ(LastError(), before) << path;
    }
}

TEST_P(LookTest, RefusesNoPath) {
    ExpectFailure([] { return GetParam()(nullptr); }, FALSE, kBadParameters);
    ExpectFailure([] { return GetParam()(""); }, FALSE, kBadParameters);
}

TEST_P(LookTest, TellsWhatCannotBeLookedAt) {
    ASSERT_EQ(symlink("loop", At("loop").c_str()), 0);
    ExpectFailure([&] { return Look(At("loop")); }, FALSE,
                  {NAVO_ERR_NO_PERMISSION, ELOOP, "file.cpp"});
    ASSERT_EQ(mkdir(At("closed").c_str(), 0), 0);
    const OrdinaryUser user;
    if (!user) {
        GTEST_SKIP() << "no other user to be";
    }
    ExpectFailure([&] { return Look(At("closed/x")); }, FALSE,
                  {NAVO_ERR_NO_PERMISSION, EACCES, "file.cpp"});
}

INSTANTIATE_TEST_SUITE_P(Both, LookTest, testing::Values(&NLIBCFileExist, &NLIBCFileCheckDir),
                         [](const auto& instance) {
                             return instance.index == 0 ? "FileExist" : "FileCheckDir";
                         });

class FileTest : public DirectoryTest {
protected:
    const std::string path = At("file");
};

TEST_F(FileTest, StatTellsWhatALinkPointsToOrTheLinkItself) {
    WriteFile(At("file"), "12345");
    ASSERT_EQ(symlink(At("file").c_str(), At("link").c_str()), 0);
    struct stat status {};
    ExpectSuccess([&] { return NLIBCFileStat(At("link").c_str(), 1, &status); }, 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(status.st_size, 5);
    ExpectSuccess([&] { return NLIBCFileStat(At("link").c_str(), 0, &status); }, 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(FileTest, StatOfWhatIsNotThereFailsAndTellsNothing) {
    struct stat status {};
    status.st_size = 77;
    ExpectFailure([&] { return NLIBCFileStat(At("none").c_str(), 1, &status); }, -1,
                  {NAVO_ERR_IO, ENOENT, "file.cpp"});
    EXPECT_EQ(status.st_size, 77);
    ExpectFailure([&] { return NLIBCFileStat("", 1, &status); }, -1, kBadParameters);
    ExpectFailure([&] { return NLIBCFileStat(At("none").c_str(), 1, nullptr); }, -1,
                  kBadParameters);
}

TEST_F(FileTest, ExistsAsAFileButIsNoDirectory) {
    WriteFile(path, "");
    ExpectSuccess([&] { return NLIBCFileExist(path.c_str()); }, TRUE);
    ExpectSuccess([&] { return NLIBCFileCheckDir(path.c_str()); }, FALSE);
}

TEST_F(FileTest, TouchCreatesAnEmptyFile) {
    const Umask mask(022);
    ExpectSuccess([&] { return NLIBCFileTouch(path.c_str()); }, 0);
    EXPECT_TRUE(S_ISREG(StatusOf(path).st_mode));
    EXPECT_EQ(StatusOf(path).st_size, 0);
    EXPECT_EQ(PermissionsOf(path), 0600);
}

TEST_F(FileTest, TouchKeepsContentAndSetsTheTime) {
    WriteFile(path, "content", 0600);
    const timespec longAgo[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), longAgo, 0), 0);
    const time_t now = time(nullptr);
    ExpectSuccess([&] { return NLIBCFileTouch(path.c_str()); }, 0);
    EXPECT_EQ(ReadFile(path), "content");
    EXPECT_EQ(PermissionsOf(path), 0600);
    EXPECT_NEAR(static_cast<double>(StatusOf(path).st_mtime), static_cast<double>(now), 10);
}

TEST_F(FileTest, TouchServesTheOwnerOfAReadOnlyFile) {
    const OrdinaryUser user;
    if (!user) {
        GTEST_SKIP() << "no other user to be";
    }
    WriteFile(path, "content", 0444);
    ExpectSuccess([&] { return NLIBCFileTouch(path.c_str()); }, 0);
}

TEST_F(FileTest, TouchCreatesTheTargetOfALink) {
    ASSERT_EQ(symlink(At("target").c_str(), path.c_str()), 0);
    ExpectSuccess([&] { return NLIBCFileTouch(path.c_str()); }, 0);
    EXPECT_TRUE(Exists(At("target")));
}

TEST_F(FileTest, TouchDoesNotBlockOnAPipe) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    ExpectSuccess([&] { return NLIBCFileTouch(path.c_str()); }, 0);
}

TEST_F(FileTest, TouchTellsWhyItFailed) {
    const auto touch = [](const char* file) { return [=] { return NLIBCFileTouch(file); }; };
    const auto failure = [](int error) { return Failure{NAVO_ERR_OPEN_FAILED, error, "file.cpp"}; };
    ExpectFailure(touch(nullptr), -1, failure(EINVAL));
    ExpectFailure(touch(""), -1, failure(EINVAL));
    ExpectFailure(touch(directory.Path().c_str()), -1, failure(EISDIR));
    ExpectFailure(touch(At("none/file").c_str()), -1, failure(ENOENT));
}

TEST_F(FileTest, TouchNeedsPermissionToCreate) {
    chmod(directory.Path().c_str(), 0755);
    const OrdinaryUser user;
    if (!user || geteuid() == StatusOf(directory.Path()).st_uid) {
        GTEST_SKIP() << "no other user to be";
    }
    ExpectFailure([&] { return NLIBCFileTouch(path.c_str()); }, -1,
                  {NAVO_ERR_OPEN_FAILED, EACCES, "file.cpp"});
}

}  // namespace
}  // namespace navo::test

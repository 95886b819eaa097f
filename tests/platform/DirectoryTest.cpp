// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Outcome.h"
#include "Process.h"
#include "TestDirectory.h"
#include "support/Directory.h"

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

// The tree of the scratch folders, of which only the last directory gets the mode asked for.
class ScratchTreeTest : public MakeDirectoryTest {
protected:
    const std::string package = At("docker/@tmp/Vellumo");
    const std::string source = package + "/@tmp/source";

    static std::optional<int> ErrorOfOtherWhoEnters(const std::string& path) {
        return vellumo::test::AsOther([&] { return chdir(path.c_str()) == 0 ? 0 : errno; });
    }
};

TEST_F(ScratchTreeTest, KeepsTheDirectoriesAboveTheLastForTheirOwner) {
    const Umask mask(0);
    ExpectSuccess([&] { return Make(source + "/", TRUE); }, 0);
    EXPECT_EQ(PermissionsOf(At("docker")), 0755);
    EXPECT_EQ(PermissionsOf(At("docker/@tmp")), 0755);
    EXPECT_EQ(PermissionsOf(package), 0700);
    EXPECT_EQ(PermissionsOf(package + "/@tmp"), 0700);
    EXPECT_EQ(PermissionsOf(source), 0755);
}

TEST_F(ScratchTreeTest, CannotBeEnteredByAnotherAccount) {
    ASSERT_EQ(Make(source, TRUE), 0);
    const auto error = ErrorOfOtherWhoEnters(package);
    if (!error) {
        GTEST_SKIP() << "no other user to be";
    }
    EXPECT_EQ(ErrorOfOtherWhoEnters(At("docker/@tmp")), 0) << "the attack does not work at all";
    EXPECT_EQ(*error, EACCES);
    EXPECT_EQ(ErrorOfOtherWhoEnters(source), EACCES);
}

TEST_F(ScratchTreeTest, OfAnEarlierVersionIsClosedToOtherAccounts) {
    for (const std::string& path :
         {At("docker"), At("docker/@tmp"), package, package + "/@tmp", source}) {
        ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
        ASSERT_EQ(chmod(path.c_str(), 0755), 0);
    }
    ExpectSuccess([&] { return Make(source, TRUE); }, 0);
    EXPECT_EQ(PermissionsOf(At("docker/@tmp")), 0755);
    EXPECT_EQ(PermissionsOf(package), 0700);
    EXPECT_EQ(PermissionsOf(package + "/@tmp"), 0700);
    EXPECT_EQ(PermissionsOf(source), 0755);
}

TEST_F(ScratchTreeTest, IsRefusedWhenItBelongsToAnotherAccount) {
    ASSERT_EQ(Make(package, TRUE), 0);
    if (geteuid() != 0 || chown(package.c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "may not give a directory away";
    }
    ExpectFailure([&] { return Make(source, TRUE); }, -1, IOFailure(EPERM));
    EXPECT_FALSE(Exists(package + "/@tmp"));
    EXPECT_EQ(StatusOf(package).st_uid, 65534U);
}

// An account tries to open the tree for as long as it is made, and keeps the way in for later.
TEST_F(ScratchTreeTest, CannotBeEnteredInItsFirstMomentEither) {
    constexpr int kRounds = 10000;
    const Umask mask(0);
    const std::string won = At("won");
    const vellumo::test::Attacker other([&] {
        if (chdir(package.c_str()) == 0) {
            WriteFile(won, "");
            static_cast<void>(chdir("/"));
        }
    });
    if (!other) {
        GTEST_SKIP() << "no other user to be";
    }
    for (int round = 0; round < kRounds && !Exists(won); ++round) {
        ASSERT_EQ(Make(package + "/@tmp", TRUE), 0);
        rmdir((package + "/@tmp").c_str());
        rmdir(package.c_str());
    }
    EXPECT_FALSE(Exists(won));
    ASSERT_EQ(mkdir(package.c_str(), 0755), 0);
    for (int i = 0; i < 1000 && !Exists(won); ++i) {
        usleep(10000);
    }
    EXPECT_TRUE(Exists(won)) << "the attack does not work at all";
}

TEST_F(MakeDirectoryTest, DoesNotFollowTheLinkOfAnotherAccount) {
    ASSERT_EQ(mkdir(At("roots").c_str(), 0700), 0);
    const auto made = vellumo::test::AsOther(
        [&] { return symlink(At("roots").c_str(), At("link").c_str()) == 0 ? 0 : errno; });
    if (!made) {
        GTEST_SKIP() << "no other user to be";
    }
    ASSERT_EQ(*made, 0);
    for (const BOOL parents : {FALSE, TRUE}) {
        ExpectFailure([&] { return Make(At("link"), parents); }, -1, IOFailure(ELOOP));
    }
    ExpectFailure([&] { return Make(At("link/a"), TRUE); }, -1, IOFailure(ELOOP));
    EXPECT_FALSE(Exists(At("roots/a")));
}

// Puts `victim` in the place of whatever root is making in `folder`, for a moment.
void ExchangeWithNewOnes(const std::string& folder, const std::string& victim) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string path = entry.path();
        const std::string name = entry.path().filename();
        if (name != "new" && !name.starts_with(".navo-")) {
            continue;
        }
        if (renameat2(AT_FDCWD, victim.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) == 0) {
            renameat2(AT_FDCWD, victim.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE);
        }
    }
}

// A directory that others exchange for new ones; opened, because its name changes.
class Victim {
public:
    Victim(const std::string& path, uid_t owner) : _path(path) {
        EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
        WriteFile(path + "/file", "content");
        EXPECT_EQ(chown(path.c_str(), owner, owner), 0);
        _directory = vellumo::support::OpenDirectory(path);
    }
    void ExpectUnchanged(uid_t owner) const {
        struct stat status {};
        ASSERT_EQ(fstat(_directory.Get(), &status), 0);
        EXPECT_EQ(status.st_uid, owner) << _path;
        EXPECT_EQ(status.st_mode & 07777U, 0700U) << _path;
    }

private:
    std::string _path;
    vellumo::support::Descriptor _directory;
};

TEST_F(MakeDirectoryTest, NeverChangesADirectoryThatAnAccountPutsInThePlaceOfTheNewOne) {
    constexpr int kRounds = 10000;
    if (geteuid() != 0) {
        GTEST_SKIP() << "no other user to be";
    }
    const Victim users(At("users"), 65534);
    const Victim roots(At("roots"), 0);
    const vellumo::test::Attacker one([&] {
        ExchangeWithNewOnes(directory.Path(), At("users"));
        ExchangeWithNewOnes(directory.Path(), At("roots"));
    });
    if (!one) {
        GTEST_SKIP() << "no other user to be";
    }
    int made = 0;
    for (int round = 0; round < kRounds; ++round) {
        made += NAVOFSMkdirP(At("new").c_str(), nullptr, FALSE, 1, 1, 0755) == 0 ? 1 : 0;
        rmdir(At("new").c_str());
    }
    EXPECT_GT(made, 0);
    users.ExpectUnchanged(65534);
    roots.ExpectUnchanged(0);
}

}  // namespace
}  // namespace navo::test

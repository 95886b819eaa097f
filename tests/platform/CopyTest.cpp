// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <navo/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "Outcome.h"
#include "Process.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

constexpr Failure IOFailure(int error) {
    return {NAVO_ERR_IO, error, "copy.cpp"};
}

constexpr Failure BadParameters(int error) {
    return {NAVO_ERR_BAD_PARAMETERS, error, "copy.cpp"};
}

int Transfer(const std::string& source, const std::string& destination, bool replace, bool move) {
    NAVOFILECOPYOPTIONS options{};
    options.replace = replace ? 1 : 0;
    options.move = move ? 1 : 0;
    return NAVOFileCopy(source.c_str(), destination.c_str(), &options);
}

int Copy(const std::string& source, const std::string& destination) {
    return Transfer(source, destination, true, false);
}

int Move(const std::string& source, const std::string& destination) {
    return Transfer(source, destination, true, true);
}

// Content that is longer than any buffer and differs everywhere.
std::string LongContent() {
    std::string content;
    for (int i = 0; content.size() < size_t{300} * 1024; ++i) {
        content += std::to_string(i) + '\n';
    }
    return content;
}

// Every file that this process writes ends there: a stand-in for a full disk.
constexpr rlim_t kSizeLimit = 4096;

// Runs `operation` in a process that can write no file beyond kSizeLimit; its errno.
int ErrnoOnAFullDisk(const std::function<int()>& operation) {
    vellumo::test::ChildProcess process([&] {
        const rlimit limit{kSizeLimit, kSizeLimit};
        if (std::signal(SIGXFSZ, SIG_IGN) == SIG_ERR || setrlimit(RLIMIT_FSIZE, &limit) != 0 ||
            operation() != -1 || NLIBCErrGet() != NAVO_ERR_IO) {
            return 0;
        }
        return errno;
    });
    return process.Wait();
}

// What copies and moves have in common; the parameter is whether to move.
class CopyOrMoveTest : public DirectoryTest, public testing::WithParamInterface<bool> {
protected:
    static int CopyOrMove(const std::string& from, const std::string& to, bool replace = true) {
        return Transfer(from, to, replace, GetParam());
    }

    const std::string source = At("source");
    const std::string destination = At("destination");
};

TEST_P(CopyOrMoveTest, CarriesContentAndPermissions) {
    WriteFile(source, LongContent(), 0751);
    const Umask mask(077);
    ExpectSuccess([&] { return CopyOrMove(source, destination); }, 0);
    EXPECT_TRUE(ReadFile(destination) == LongContent());
    EXPECT_EQ(PermissionsOf(destination), 0751);
    EXPECT_EQ(Exists(source), !GetParam());
}

TEST_P(CopyOrMoveTest, ReplacesALongerFile) {
    WriteFile(source, "new", 0640);
    WriteFile(destination, "old and longer", 0600);
    ExpectSuccess([&] { return CopyOrMove(source, destination); }, 0);
    EXPECT_EQ(ReadFile(destination), "new");
    EXPECT_EQ(PermissionsOf(destination), 0640);
}

TEST_P(CopyOrMoveTest, KeepsAnExistingFileUnlessToldToReplaceIt) {
    WriteFile(source, "new");
    WriteFile(destination, "old");
    ExpectFailure([&] { return CopyOrMove(source, destination, false); }, -1, IOFailure(EEXIST));
    EXPECT_EQ(ReadFile(destination), "old");
    EXPECT_EQ(ReadFile(source), "new");
}

TEST_P(CopyOrMoveTest, NeedsNoLeaveToMakeANewFile) {
    WriteFile(source, "new");
    ExpectSuccess([&] { return CopyOrMove(source, destination, false); }, 0);
    EXPECT_EQ(ReadFile(destination), "new");
}

TEST_P(CopyOrMoveTest, TakesAnEmptyFile) {
    WriteFile(source, "");
    ExpectSuccess([&] { return CopyOrMove(source, destination); }, 0);
    EXPECT_TRUE(Exists(destination));
}

TEST_P(CopyOrMoveTest, LeavesTwoNamesOfOneFileAsTheyAre) {
    WriteFile(source, "content");
    ASSERT_EQ(link(source.c_str(), destination.c_str()), 0);
    ExpectSuccess([&] { return CopyOrMove(source, destination); }, 0);
    ExpectSuccess([&] { return CopyOrMove(source, source); }, 0);
    EXPECT_EQ(ReadFile(source), "content");
    EXPECT_EQ(ReadFile(destination), "content");
}

TEST_P(CopyOrMoveTest, FailsWithoutASource) {
    WriteFile(destination, "old");
    ExpectFailure([&] { return CopyOrMove(At("none"), destination); }, -1, IOFailure(ENOENT));
    EXPECT_EQ(ReadFile(destination), "old");
    ExpectFailure([&] { return CopyOrMove(At("none"), At("new")); }, -1, IOFailure(ENOENT));
    EXPECT_FALSE(Exists(At("new")));
}

TEST_P(CopyOrMoveTest, RefusesASourceThatIsNoRegularFile) {
    ExpectFailure([&] { return CopyOrMove(directory.Path(), destination); }, -1,
                  BadParameters(EISDIR));
    ASSERT_EQ(mkfifo(source.c_str(), 0600), 0);
    ExpectFailure([&] { return CopyOrMove(source, destination); }, -1, BadParameters(EINVAL));
    EXPECT_FALSE(Exists(destination));
}

TEST_P(CopyOrMoveTest, KeepsADirectoryThatIsInTheWay) {
    WriteFile(source, "content");
    ASSERT_EQ(mkdir(destination.c_str(), 0755), 0);
    ExpectFailure([&] { return CopyOrMove(source, destination); }, -1, IOFailure(EISDIR));
    EXPECT_EQ(ReadFile(source), "content");
}

TEST_P(CopyOrMoveTest, FailsWithoutTheFolderOfTheDestination) {
    WriteFile(source, "content");
    ExpectFailure([&] { return CopyOrMove(source, At("none/x")); }, -1, IOFailure(ENOENT));
    EXPECT_EQ(ReadFile(source), "content");
}

TEST_P(CopyOrMoveTest, RefusesBadParameters) {
    WriteFile(source, "content");
    NAVOFILECOPYOPTIONS options{};
    options.move = GetParam() ? 1 : 0;
    const auto call = [&](const char* from, const char* to, const NAVOFILECOPYOPTIONS* how) {
        ExpectFailure([=] { return NAVOFileCopy(from, to, how); }, -1, BadParameters(EINVAL));
    };
    call(nullptr, destination.c_str(), &options);
    call("", destination.c_str(), &options);
    call(source.c_str(), nullptr, &options);
    call(source.c_str(), "", &options);
    call(source.c_str(), destination.c_str(), nullptr);
    EXPECT_FALSE(Exists(destination));
}

TEST_P(CopyOrMoveTest, NeedsPermissionForTheDestination) {
    WriteFile(source, "content");
    ASSERT_EQ(mkdir(At("closed").c_str(), 0555), 0);
    const OrdinaryUser user;
    if (!user) {
        GTEST_SKIP() << "no other user to be";
    }
    ExpectFailure([&] { return CopyOrMove(source, At("closed/x")); }, -1, IOFailure(EACCES));
    EXPECT_EQ(ReadFile(source), "content");
}

INSTANTIATE_TEST_SUITE_P(Both, CopyOrMoveTest, testing::Bool(),
                         [](const auto& instance) { return instance.param ? "Move" : "Copy"; });

class CopyTest : public DirectoryTest {
protected:
    const std::string source = At("source");
    const std::string destination = At("destination");
};

TEST_F(CopyTest, KeepsTheInodeAndTheOwnerOfAnExistingFile) {
    WriteFile(source, "new");
    WriteFile(destination, "old");
    if (geteuid() == 0) {
        EXPECT_EQ(chown(destination.c_str(), 0, 12) == 0 || errno == EINVAL, true);
    }
    const struct stat before = StatusOf(destination);
    ASSERT_EQ(Copy(source, destination), 0);
    EXPECT_EQ(StatusOf(destination).st_ino, before.st_ino);
    EXPECT_EQ(StatusOf(destination).st_gid, before.st_gid);
}

TEST_F(CopyTest, WritesThroughALink) {
    WriteFile(source, "new");
    WriteFile(At("target"), "old");
    ASSERT_EQ(symlink(At("target").c_str(), destination.c_str()), 0);
    ASSERT_EQ(Copy(source, destination), 0);
    EXPECT_EQ(ReadFile(At("target")), "new");
}

TEST_F(CopyTest, FollowsALinkThatIsTheSource) {
    WriteFile(At("target"), "content");
    ASSERT_EQ(symlink(At("target").c_str(), source.c_str()), 0);
    ASSERT_EQ(Copy(source, destination), 0);
    EXPECT_TRUE(S_ISREG(StatusOf(destination).st_mode));
    EXPECT_EQ(ReadFile(destination), "content");
}

TEST_F(CopyTest, CarriesNoSetIdBits) {
    WriteFile(source, "content", 06755);
    ASSERT_EQ(Copy(source, destination), 0);
    EXPECT_EQ(PermissionsOf(destination), 0755);
}

TEST_F(CopyTest, GivesOthersFilesOnlyTheContent) {
    WriteFile(source, "new", 0755);
    WriteFile(destination, "old", 0666);
    const OrdinaryUser user;
    if (!user || geteuid() == StatusOf(destination).st_uid) {
        GTEST_SKIP() << "no other user to be";
    }
    ExpectSuccess([&] { return Copy(source, destination); }, 0);
    EXPECT_EQ(ReadFile(destination), "new");
    EXPECT_EQ(PermissionsOf(destination), 0666);
}

TEST_F(CopyTest, CopiesAFileWhoseSizeReadsAsNothing) {
    ASSERT_EQ(Copy("/proc/self/status", destination), 0);
    EXPECT_NE(ReadFile(destination).find("Name:"), std::string::npos);
}

TEST_F(CopyTest, DoesNotBlockOnAPipe) {
    WriteFile(source, "content");
    ASSERT_EQ(mkfifo(destination.c_str(), 0600), 0);
    ExpectFailure([&] { return Copy(source, destination); }, -1, IOFailure(ENXIO));
}

TEST_F(CopyTest, DoesNotWriteToADevice) {
    WriteFile(source, "content");
    ExpectFailure([&] { return Copy(source, "/dev/null"); }, -1, IOFailure(EINVAL));
}

TEST_F(CopyTest, LeavesNoHalfWrittenFile) {
    WriteFile(source, LongContent());
    EXPECT_EQ(ErrnoOnAFullDisk([&] { return Copy(source, destination); }), EFBIG);
    EXPECT_FALSE(Exists(destination));
    EXPECT_TRUE(ReadFile(source) == LongContent());
}

TEST_F(CopyTest, KeepsTheNameOfAnExistingFileThatItCouldNotFill) {
    WriteFile(source, LongContent());
    WriteFile(destination, "old");
    EXPECT_EQ(ErrnoOnAFullDisk([&] { return Copy(source, destination); }), EFBIG);
    EXPECT_TRUE(Exists(destination));
    EXPECT_TRUE(ReadFile(source) == LongContent());
}

TEST_F(CopyTest, MoveKeepsTheFileItself) {
    WriteFile(source, "content");
    const ino_t before = StatusOf(source).st_ino;
    ASSERT_EQ(Move(source, destination), 0);
    EXPECT_EQ(StatusOf(destination).st_ino, before);
}

// The destination lies on another file system than the source.
class MoveAcrossFileSystemsTest : public CopyTest {
protected:
    void SetUp() override {
        if (StatusOf(other.Path()).st_dev == StatusOf(directory.Path()).st_dev) {
            GTEST_SKIP() << "/tmp and /dev/shm are one file system";
        }
    }

    std::vector<std::string> NamesThere() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(other.Path())) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    const TestDirectory other{"/dev/shm"};
    const std::string there = other / "destination";
};

TEST_F(MoveAcrossFileSystemsTest, CarriesContentAndPermissions) {
    WriteFile(source, LongContent(), 0751);
    ExpectSuccess([&] { return Move(source, there); }, 0);
    EXPECT_FALSE(Exists(source));
    EXPECT_TRUE(ReadFile(there) == LongContent());
    EXPECT_EQ(PermissionsOf(there), 0751);
}

TEST_F(MoveAcrossFileSystemsTest, ReplacesOnlyWhenToldTo) {
    WriteFile(source, "new");
    WriteFile(there, "old");
    ExpectFailure([&] { return Transfer(source, there, false, true); }, -1, IOFailure(EEXIST));
    EXPECT_EQ(ReadFile(there), "old");
    ExpectSuccess([&] { return Move(source, there); }, 0);
    EXPECT_EQ(ReadFile(there), "new");
    EXPECT_FALSE(Exists(source));
}

TEST_F(MoveAcrossFileSystemsTest, KeepsTheSourceWhenTheDiskIsFull) {
    WriteFile(source, LongContent());
    EXPECT_EQ(ErrnoOnAFullDisk([&] { return Move(source, there); }), EFBIG);
    EXPECT_FALSE(Exists(there));
    EXPECT_TRUE(ReadFile(source) == LongContent());
}

TEST_F(MoveAcrossFileSystemsTest, KeepsWhatItWasToReplaceWhenTheDiskIsFull) {
    WriteFile(source, LongContent());
    WriteFile(there, "old");
    EXPECT_EQ(ErrnoOnAFullDisk([&] { return Move(source, there); }), EFBIG);
    EXPECT_EQ(ReadFile(there), "old");
    EXPECT_EQ(NamesThere(), std::vector<std::string>{"destination"});
    EXPECT_TRUE(ReadFile(source) == LongContent());
}

TEST_F(MoveAcrossFileSystemsTest, LeavesWhoReadsTheOldFileAllOfIt) {
    WriteFile(source, "new");
    WriteFile(there, "old content");
    std::ifstream reader(there);
    ASSERT_EQ(Move(source, there), 0);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old content");
}

TEST_F(MoveAcrossFileSystemsTest, KeepsADirectoryThatIsInTheWay) {
    WriteFile(source, "content");
    std::filesystem::create_directory(there);
    ExpectFailure([&] { return Move(source, there); }, -1, IOFailure(EISDIR));
    EXPECT_EQ(NamesThere(), std::vector<std::string>{"destination"});
    EXPECT_EQ(ReadFile(source), "content");
}

TEST_F(MoveAcrossFileSystemsTest, LeavesNoCopyOfASourceThatCannotBeRemoved) {
    WriteFile(source, "content");
    chmod(directory.Path().c_str(), 0755);
    const OrdinaryUser user;
    if (!user || geteuid() == StatusOf(directory.Path()).st_uid) {
        GTEST_SKIP() << "no other user to be";
    }
    ExpectFailure([&] { return Move(source, there); }, -1, IOFailure(EACCES));
    EXPECT_FALSE(Exists(there));
    EXPECT_EQ(ReadFile(source), "content");
}

TEST_F(CopyTest, KeepsTheHolesOfAHugeFile) {
    constexpr off_t kSize = off_t{4} << 40;
    WriteFile(source, "begin");
    if (truncate(source.c_str(), kSize) != 0) {
        GTEST_SKIP() << "no file here can have 4 TiB";
    }
    ASSERT_EQ(Copy(source, destination), 0);
    const struct stat copy = StatusOf(destination);
    EXPECT_EQ(copy.st_size, kSize);
    EXPECT_LT(copy.st_blocks * 512, 1 << 20) << "the holes take space";
    std::ifstream file(destination);
    std::string begin(6, '?');
    file.read(begin.data(), 6);
    EXPECT_EQ(begin, std::string("begin\0", 6));
}

TEST_F(CopyTest, CopiesTheDataBetweenHoles) {
    WriteFile(source, "");
    std::string expected(size_t{3} << 20, '\0');
    {
        std::ofstream file(source, std::ios::binary);
        for (const size_t at : {size_t{1} << 20, (size_t{2} << 20) + 77}) {
            file.seekp(static_cast<std::streamoff>(at)) << "data";
            expected.replace(at, 4, "data");
        }
    }
    ASSERT_EQ(truncate(source.c_str(), off_t{3} << 20), 0);
    ASSERT_EQ(Copy(source, destination), 0);
    EXPECT_TRUE(ReadFile(destination) == expected);
}

TEST_F(CopyTest, DoesNotOpenADeviceThatIsTheSource) {
    ExpectFailure([&] { return Copy("/dev/zero", destination); }, -1, BadParameters(EINVAL));
    EXPECT_FALSE(Exists(destination));
}

// The owner of the folder exchanges the document for an endless device and for a pipe without a
// writer, as fast as possible. Each copy is the document or none.
TEST_F(CopyTest, CopiesTheDocumentOrNothingWhileItsOwnerExchangesIt) {
    constexpr int kRounds = 10000;
    WriteFile(source, "the document");
    ASSERT_EQ(symlink("/dev/zero", At("zero").c_str()), 0);
    ASSERT_EQ(mkfifo(At("pipe").c_str(), 0666), 0);
    const vellumo::test::Attacker owner([&] {
        for (const char* other : {"zero", "zero", "pipe", "pipe"}) {
            renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, At(other).c_str(), RENAME_EXCHANGE);
        }
    });
    if (!owner) {
        GTEST_SKIP() << "no other user to be";
    }
    int copied = 0;
    for (int round = 0; round < kRounds; ++round) {
        const bool done = Copy(source, destination) == 0;
        ASSERT_EQ(ReadFile(destination), done || copied > 0 ? "the document" : "") << round;
        copied += done ? 1 : 0;
    }
    EXPECT_GT(copied, 0);
    EXPECT_LT(copied, kRounds) << "nothing was exchanged";
}

// A writer that makes the document longer for as long as it is copied.
TEST_F(CopyTest, StopsAtTheSizeThatItHasSeenFirst) {
    constexpr int kRounds = 200;
    const Umask mask(0);
    WriteFile(source, std::string(size_t{1} << 20, 'x'), 0666);
    const vellumo::test::Attacker writer([&] {
        std::ofstream(source, std::ios::app) << std::string(4096, 'y');
        if (StatusOf(source).st_size > (off_t{8} << 20)) {
            static_cast<void>(truncate(source.c_str(), off_t{1} << 20));
        }
    });
    if (!writer) {
        GTEST_SKIP() << "no other user to be";
    }
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(Copy(source, destination), 0);
        ASSERT_LE(StatusOf(destination).st_size, (off_t{8} << 20) + 4096);
    }
}

}  // namespace
}  // namespace navo::test

// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <navo/lock.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "LockCalls.h"
#include "LockHolder.h"
#include "Outcome.h"
#include "Process.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;
using vellumo::test::Channel;
using vellumo::test::ChildProcess;

constexpr Failure kTimeout{NAVO_ERR_LOCK_TIMEOUT, EAGAIN, "lock.cpp"};
constexpr Failure kBadParameters{NAVO_ERR_BAD_PARAMETERS, EINVAL, "lock.cpp"};

constexpr Failure OpenFailure(int error) {
    return {NAVO_ERR_OPEN_FAILED, error, "lock.cpp"};
}

// A lock of this process, given back at the end.
class Lock {
public:
    Lock(const std::string& path, bool exclusive, int timeoutSecs = 0)
        : _taken(NLIBCFileLockTimeByFile(path.c_str(), exclusive ? 1 : 0, timeoutSecs,
                                         &_descriptor) == 1) {}
    ~Lock() {
        if (_taken) {
            EXPECT_EQ(NLIBCFileUnlockByFile(_descriptor), 0);
        }
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    explicit operator bool() const { return _taken; }
    int Descriptor() const { return _descriptor; }

private:
    int _descriptor = -1;
    bool _taken;
};

class LockTest : public DirectoryTest {
protected:
    LockTest() { lockCalls = {}; }
    ~LockTest() override { lockCalls = {}; }

    static constexpr bool kShared = false;
    static constexpr bool kExclusive = true;

    // Tries the lock and expects that time runs out; how long that took.
    Clock::duration TimeToFail(bool exclusive, int timeoutSecs) const {
        int descriptor = -7;
        const auto begin = Clock::now();
        ExpectFailure(
            [&] {
                return NLIBCFileLockTimeByFile(path.c_str(), exclusive ? 1 : 0, timeoutSecs,
                                               &descriptor);
            },
            0, kTimeout);
        EXPECT_EQ(descriptor, -7) << "touched on failure";
        return Clock::now() - begin;
    }

    static ino_t LockedInode(const Lock& lock) {
        struct stat status {};
        return fstat(lock.Descriptor(), &status) == 0 ? status.st_ino : 0;
    }

    const std::string path = At("file");
};

TEST_F(LockTest, CreatesAMissingFile) {
    const Umask mask(022);
    for (const int exclusive : {0, 1}) {
        int descriptor = -1;
        const std::string missing = At("missing" + std::to_string(exclusive));
        ExpectSuccess(
            [&] { return NLIBCFileLockTimeByFile(missing.c_str(), exclusive, 0, &descriptor); }, 1);
        EXPECT_EQ(PermissionsOf(missing), 0600);
        EXPECT_EQ(StatusOf(missing).st_size, 0);
        ExpectSuccess([&] { return NLIBCFileUnlockByFile(descriptor); }, 0);
    }
}

TEST_F(LockTest, KeepsTheContent) {
    WriteFile(path, "content");
    const Lock lock(path, kExclusive);
    EXPECT_TRUE(lock);
    EXPECT_EQ(ReadFile(path), "content");
}

TEST_F(LockTest, IsClosedOnExec) {
    const Lock lock(path, kExclusive);
    ASSERT_TRUE(lock);
    EXPECT_EQ(fcntl(lock.Descriptor(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(LockTest, WriterExcludesWriter) {
    const LockHolder holder(path, kExclusive);
    TimeToFail(kExclusive, 0);
}

TEST_F(LockTest, WriterExcludesReader) {
    const LockHolder holder(path, kExclusive);
    TimeToFail(kShared, 0);
}

TEST_F(LockTest, ReaderExcludesWriter) {
    const LockHolder holder(path, kShared);
    TimeToFail(kExclusive, 0);
}

TEST_F(LockTest, ReadersShare) {
    const LockHolder first(path, kShared);
    const LockHolder second(path, kShared);
    EXPECT_TRUE(Lock(path, kShared));
}

TEST_F(LockTest, ExcludesOtherDescriptorsOfTheProcessToo) {
    const Lock lock(path, kExclusive);
    EXPECT_FALSE(Lock(path, kExclusive));
    EXPECT_FALSE(Lock(path, kShared));
}

TEST_F(LockTest, SurvivesThatTheFileIsOpenedAndClosedElsewhere) {
    const Lock lock(path, kExclusive);
    EXPECT_EQ(ReadFile(path), "");
    ChildProcess other([this] { return Lock(path, kExclusive) ? 1 : 0; });
    EXPECT_EQ(other.Wait(), 0) << "another process got it";
}

TEST_F(LockTest, FailsWhenTheTimeIsUpAndNotBefore) {
    const LockHolder holder(path, kExclusive);
    for (const bool exclusive : {kShared, kExclusive}) {
        const auto taken = TimeToFail(exclusive, 1);
        EXPECT_GE(taken, seconds(1));
        EXPECT_LT(taken, seconds(10));
    }
}

TEST_F(LockTest, TriesOnceWithoutTime) {
    const LockHolder holder(path, kExclusive);
    for (const int none : {0, -5}) {
        lockCalls = {};
        int descriptor = -1;
        EXPECT_EQ(NLIBCFileLockTimeByFile(path.c_str(), 1, none, &descriptor), 0);
        EXPECT_EQ(lockCalls.tries, 1);
        EXPECT_EQ(lockCalls.pauses, 0);
    }
}

TEST_F(LockTest, IsHadSoonAfterItIsGivenBack) {
    const LockHolder holder(path, kExclusive);
    lockCalls.onPause = [&](int pause) {
        if (pause == 60) {
            holder.Release();
        }
    };
    int descriptor = -1;
    ExpectSuccess([&] { return NLIBCFileLockTimeByFile(path.c_str(), 1, 30, &descriptor); }, 1);
    EXPECT_LE(lockCalls.longestPause, milliseconds(50)) << "it is looked for too seldom";
    EXPECT_EQ(NLIBCFileUnlockByFile(descriptor), 0);
}

TEST_F(LockTest, IsFreeWhenItsHolderIsKilled) {
    LockHolder holder(path, kExclusive);
    EXPECT_FALSE(Lock(path, kExclusive));
    holder.Kill();
    EXPECT_TRUE(Lock(path, kExclusive));
}

// A process that takes the lock, starts a program that goes on after it, and waits to be killed.
int HoldAndStartProgram(const std::string& path, const Channel& started) {
    const Lock lock(path, true);
    std::string name = "/bin/sleep";
    std::string duration = "60";
    char* argv[] = {name.data(), duration.data(), nullptr};
    pid_t program = -1;
    const int error = posix_spawn(&program, name.c_str(), nullptr, nullptr, argv, environ);
    started.Send(lock && error == 0 ? program : -1);
    pause();
    return 0;
}

TEST_F(LockTest, IsNotInheritedByAProgram) {
    const Channel started;
    ChildProcess holder([&] { return HoldAndStartProgram(path, started); });
    const pid_t program = started.Receive();
    ASSERT_GT(program, 0);
    holder.Signal(SIGKILL);
    holder.Wait();
    // The kernel closes the descriptor a moment after posix_spawn has returned.
    EXPECT_TRUE(Lock(path, kExclusive, 5));
    EXPECT_EQ(kill(program, 0), 0) << "the program has ended already";
    kill(program, SIGKILL);
}

TEST_F(LockTest, IsGivenBackAlsoForAForkOfTheProcess) {
    std::optional<Lock> lock(std::in_place, path, kExclusive);
    const Channel end;
    ChildProcess fork([&] { return end.Receive(); });
    lock.reset();
    EXPECT_TRUE(Lock(path, kExclusive));
    end.Send(0);
    EXPECT_EQ(fork.Wait(), 0);
}

TEST_F(LockTest, IsOnTheFileThatReplacedAnotherWhileWaiting) {
    WriteFile(path, "old");
    WriteFile(At("new"), "new");
    const LockHolder holder(path, kExclusive);
    lockCalls.onPause = [this](int pause) {
        if (pause == 1) {
            EXPECT_EQ(std::rename(At("new").c_str(), path.c_str()), 0);
        }
    };
    const Lock lock(path, kExclusive, 10);
    ASSERT_TRUE(lock) << "still waits for the file that is gone";
    EXPECT_EQ(LockedInode(lock), StatusOf(path).st_ino);
    EXPECT_FALSE(Lock(path, kExclusive)) << "somebody else can lock the file that is there";
}

TEST_F(LockTest, IsOnAFileAtThePathWhenTheOldOneWasRemovedWhileWaiting) {
    const LockHolder holder(path, kExclusive);
    lockCalls.onPause = [this](int pause) {
        if (pause == 1) {
            EXPECT_EQ(unlink(path.c_str()), 0);
        }
    };
    const Lock lock(path, kExclusive, 10);
    EXPECT_TRUE(lock);
    EXPECT_TRUE(Exists(path));
}

TEST_F(LockTest, IsOnTheFileThatReplacedAnotherWhileLocking) {
    WriteFile(path, "old");
    WriteFile(At("new"), "new");
    lockCalls.beforeTry = [this] { EXPECT_EQ(std::rename(At("new").c_str(), path.c_str()), 0); };
    const Lock lock(path, kExclusive, 10);
    ASSERT_TRUE(lock);
    EXPECT_EQ(lockCalls.beforeTry, nullptr) << "the file was not replaced";
    EXPECT_EQ(LockedInode(lock), StatusOf(path).st_ino);
}

TEST_F(LockTest, IsOnAFileAtThePathWhenTheOldOneWasRemovedWhileLocking) {
    lockCalls.beforeTry = [this] { EXPECT_EQ(unlink(path.c_str()), 0); };
    const Lock lock(path, kShared, 10);
    ASSERT_TRUE(lock);
    EXPECT_EQ(lockCalls.beforeTry, nullptr) << "the file was not removed";
    EXPECT_EQ(LockedInode(lock), StatusOf(path).st_ino);
}

TEST_F(LockTest, LosesNoUpdateOfSeveralProcesses) {
    constexpr int kProcesses = 4;
    constexpr int kUpdates = 50;
    WriteFile(path, "0");
    const auto update = [this](int) {
        for (int i = 0; i < kUpdates; ++i) {
            const Lock lock(path, kExclusive, 60);
            if (!lock) {
                return 1;
            }
            WriteFile(path, std::to_string(std::stoi(ReadFile(path)) + 1));
        }
        return 0;
    };
    EXPECT_THAT(vellumo::test::RunAtOnce(kProcesses, update), testing::Each(0))
        << "a lock was not had";
    EXPECT_EQ(ReadFile(path), std::to_string(kProcesses * kUpdates));
}

TEST_F(LockTest, ReaderNeedsNoPermissionToWrite) {
    WriteFile(path, "content", 0444);
    chmod(directory.Path().c_str(), 0555);
    {
        const OrdinaryUser user;
        if (!user) {
            GTEST_SKIP() << "no other user to be";
        }
        EXPECT_TRUE(Lock(path, kShared));
    }
    chmod(directory.Path().c_str(), 0755);
}

TEST_F(LockTest, WriterNeedsPermissionToWrite) {
    WriteFile(path, "content", 0444);
    const OrdinaryUser user;
    if (!user) {
        GTEST_SKIP() << "no other user to be";
    }
    int descriptor = -1;
    ExpectFailure([&] { return NLIBCFileLockTimeByFile(path.c_str(), 1, 5, &descriptor); }, 0,
                  OpenFailure(EACCES));
}

// Another account that opens the file for reading and takes the lock, to make all others wait.
std::optional<int> LockAsOther(const std::string& path) {
    return vellumo::test::AsOther([&] {
        const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK);
        return file < 0 ? errno : flock(file, LOCK_EX | LOCK_NB);
    });
}

TEST_F(LockTest, AnotherAccountCannotHoldTheLockOfANewFile) {
    const Umask mask(0);
    const auto before = LockAsOther("/dev/null");
    if (!before) {
        GTEST_SKIP() << "no other user to be";
    }
    EXPECT_EQ(*before, 0) << "the attack does not work at all";
    static_cast<void>(Lock(path, kExclusive));
    EXPECT_EQ(LockAsOther(path), EACCES);
}

TEST_F(LockTest, AnotherAccountCannotHoldTheLockOfAnOlderFile) {
    WriteFile(path, "content", 0644);
    if (!LockAsOther(path)) {
        GTEST_SKIP() << "no other user to be";
    }
    EXPECT_EQ(LockAsOther(path), 0) << "the attack does not work at all";
    static_cast<void>(Lock(path, kShared));
    EXPECT_EQ(LockAsOther(path), EACCES);
    EXPECT_EQ(PermissionsOf(path), 0640) << "the group of an administrator's choice may read it";
}

TEST_F(LockTest, TellsWhyAFileCannotBeOpened) {
    int descriptor = -7;
    ExpectFailure([&] { return NLIBCFileLockTimeByFile(At("none/x").c_str(), 0, 5, &descriptor); },
                  0, OpenFailure(ENOENT));
    ExpectFailure(
        [&] { return NLIBCFileLockTimeByFile(directory.Path().c_str(), 1, 5, &descriptor); }, 0,
        OpenFailure(EISDIR));
    EXPECT_EQ(descriptor, -7);
}

TEST_F(LockTest, DoesNotBlockOnAPipe) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_TRUE(Lock(path, kShared));
}

TEST_F(LockTest, RefusesBadParameters) {
    int descriptor = -7;
    ExpectFailure([&] { return NLIBCFileLockTimeByFile(nullptr, 1, 0, &descriptor); }, 0,
                  kBadParameters);
    ExpectFailure([&] { return NLIBCFileLockTimeByFile("", 1, 0, &descriptor); }, 0,
                  kBadParameters);
    ExpectFailure([&] { return NLIBCFileLockTimeByFile(path.c_str(), 1, 0, nullptr); }, 0,
                  kBadParameters);
    EXPECT_FALSE(Exists(path));
}

TEST_F(LockTest, UnlockRefusesWhatIsNotOpen) {
    int descriptor = -1;
    ASSERT_EQ(NLIBCFileLockTimeByFile(path.c_str(), 1, 0, &descriptor), 1);
    ASSERT_EQ(NLIBCFileUnlockByFile(descriptor), 0);
    const Failure notOpen{NAVO_ERR_LOCK_FAILED, EBADF, "lock.cpp"};
    ExpectFailure([&] { return NLIBCFileUnlockByFile(descriptor); }, -1, notOpen);
    ExpectFailure([] { return NLIBCFileUnlockByFile(-1); }, -1, notOpen);
}

TEST_F(LockTest, LeavesNoDescriptorBehind) {
    const int before = dup(STDIN_FILENO);
    close(before);
    {
        const LockHolder holder(path, kExclusive);
        const int whileHeld = dup(STDIN_FILENO);
        close(whileHeld);
        EXPECT_FALSE(Lock(path, kExclusive));
        const int after = dup(STDIN_FILENO);
        close(after);
        EXPECT_EQ(after, whileHeld) << "a failed try left a descriptor open";
    }
    { const Lock lock(path, kExclusive); }
    const int after = dup(STDIN_FILENO);
    close(after);
    EXPECT_EQ(after, before) << "a lock that was given back left a descriptor open";
}

}  // namespace
}  // namespace navo::test

// SPDX-License-Identifier: Apache-2.0
#include "support/Lease.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "Device.h"
#include "Process.h"
#include "support/ChildProcess.h"

using namespace vellumo::support;
using namespace vellumo::test;
using State = Lease::State;

namespace {

constexpr const char* kPath = "/volume1/lease";

class LeaseTest : public DeviceTest {
protected:
    // A process that takes the lease, says so, and lives on.
    class Holder {
    public:
        Holder() : _process([this] { return Hold(); }) { EXPECT_EQ(_said.Receive(), 1); }
        void Kill() {
            _process.Signal(SIGKILL);
            EXPECT_EQ(_process.Wait(), -SIGKILL);
        }

    private:
        int Hold() const {
            const Lease lease = Lease::Take(kPath);
            _said.Send(lease && lease.SetText("of a holder") ? 1 : 0);
            pause();
            return 0;
        }
        Channel _said;
        ChildProcess _process;
    };
};

}  // namespace

TEST_F(LeaseTest, IsHeldWhileItsHolderLives) {
    EXPECT_EQ(Lease::StateOf(kPath), State::kNone);
    const Lease lease = Lease::Take(kPath);
    ASSERT_TRUE(lease);
    EXPECT_EQ(Lease::StateOf(kPath), State::kHeld);
    EXPECT_FALSE(Lease::Take(kPath)) << "by the same process";
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(ChildProcess([] { return Lease::Take(kPath) ? 1 : 0; }).Wait(), 0);
}

TEST_F(LeaseTest, IsForItsOwnerAlone) {
    const mode_t before = umask(0);
    const Lease lease = Lease::Take(kPath);
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(kPath, &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(LeaseTest, IsFreeWhenItsHolderIsKilled) {
    Holder holder;
    EXPECT_EQ(Lease::StateOf(kPath), State::kHeld);
    holder.Kill();
    std::string text;
    EXPECT_EQ(Lease::StateOf(kPath, &text), State::kFree);
    EXPECT_EQ(text, "of a holder");
    const Lease healer = Lease::Take(kPath);
    EXPECT_EQ(healer.Text(), "of a holder");
    EXPECT_EQ(Lease::StateOf(kPath), State::kHeld);
}

TEST_F(LeaseTest, IsFreeWhenItIsDroppedAndGoneWhenItIsEnded) {
    { const Lease lease = Lease::Take(kPath); }
    EXPECT_EQ(Lease::StateOf(kPath), State::kFree);
    Lease lease = Lease::Take(kPath);
    lease.End();
    EXPECT_FALSE(lease);
    EXPECT_EQ(Lease::StateOf(kPath), State::kNone);
    EXPECT_FALSE(Exists(kPath));
}

TEST_F(LeaseTest, ThatIsNewIsNobodyElses) {
    { const Lease left = Lease::Take(kPath); }
    EXPECT_FALSE(Lease::Create(kPath));
    EXPECT_EQ(errno, EEXIST);
    unlink(kPath);
    EXPECT_TRUE(Lease::Create(kPath));
}

TEST_F(LeaseTest, LooksDoNotKeepOthersFromTakingIt) {
    const ChildProcess looker([] {
        while (true) {
            Lease::StateOf(kPath);
        }
        return 0;
    });
    for (int i = 0; i < 2000; ++i) {
        Lease lease = Lease::Take(kPath);
        ASSERT_TRUE(lease) << "at try " << i;
        lease.End();
    }
}

// Two that want the same lease: whoever ends it removes the file under the other one's hands.
TEST_F(LeaseTest, IsNeverOnARemovedFile) {
    const auto takeOften = [](int) {
        for (int i = 0; i < 5000; ++i) {
            Lease lease = Lease::Take(kPath);
            if (lease && Lease::StateOf(kPath) != State::kHeld) {
                return 1;
            }
            lease.End();
        }
        return 0;
    };
    EXPECT_THAT(RunAtOnce(3, takeOften), testing::Each(0));
}

TEST_F(LeaseTest, OfAForkedProcessIsItsOwnOnly) {
    Channel said;
    const Channel stop;
    ChildProcess holder([&] {
        Lease lease = Lease::Take(kPath);
        const ChildProcess fork([&] {
            lease.End();  // which is not the fork's to end
            said.Send(lease ? 2 : 1);
            stop.Receive();
            return 0;
        });
        said.Send(said.Receive());
        pause();
        return 0;
    });
    ASSERT_TRUE(ComesTrue([] { return Lease::StateOf(kPath) == State::kHeld; }));
    EXPECT_EQ(said.Receive(), 1);
    EXPECT_EQ(Lease::StateOf(kPath), State::kHeld) << "the fork has ended it";
    holder.Signal(SIGKILL);
    holder.Wait();
    EXPECT_EQ(Lease::StateOf(kPath), State::kFree) << "the fork keeps it";
    stop.Send(0);
}

TEST_F(LeaseTest, IsHeldByAProgramThatItIsLentTo) {
    pid_t program = -1;
    {
        const Lease lease = Lease::Take(kPath);
        std::vector<std::string> words{"sleep", "60"};
        Surroundings surroundings;
        surroundings.lent = lease.Get();
        ASSERT_EQ(Start("/bin/sleep", ArgumentVector(words).data(), surroundings, program), 0);
    }
    EXPECT_EQ(Lease::StateOf(kPath), State::kHeld);
    kill(program, SIGKILL);
    int status = 0;
    EXPECT_TRUE(WaitForEnd(program, status));
    EXPECT_EQ(Lease::StateOf(kPath), State::kFree);
}

TEST_F(LeaseTest, IsNotHeldByAProgramThatItIsNotLentTo) {
    pid_t program = -1;
    {
        const Lease lease = Lease::Take(kPath);
        std::vector<std::string> words{"sleep", "60"};
        ASSERT_EQ(Start("/bin/sleep", ArgumentVector(words).data(), {}, program), 0);
    }
    EXPECT_EQ(Lease::StateOf(kPath), State::kFree);
    kill(program, SIGKILL);
    int status = 0;
    EXPECT_TRUE(WaitForEnd(program, status));
}

TEST_F(LeaseTest, InAMissingDirectoryIsNone) {
    EXPECT_FALSE(Lease::Take("/volume1/missing/lease"));
    EXPECT_EQ(Lease::StateOf("/volume1/missing/lease"), State::kNone);
}

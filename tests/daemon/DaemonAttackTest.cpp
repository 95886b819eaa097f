// SPDX-License-Identifier: Apache-2.0
// What a user of the same server may try against the daemon.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <csignal>
#include <cstring>

#include "RunningDaemon.h"
#include "loader/daemon/DaemonClient.h"
#include "support/Descriptor.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using vellumo::support::Descriptor;

namespace {

namespace core = NAVO::VELLUMO;

class DaemonAttack : public DeviceTest {
protected:
    DaemonAttack() {
        for (const char* file :
             {core::SZF_THUMB_DB_PATH, core::SZF_CACHE_DB_PATH, core::SZF_INDEX_QUEUE,
              core::SZF_INDEX_QUEUE_WORKING, "/var/packages/Vellumo/etc/failures.db",
              "/var/packages/Vellumo/target/index/scan"}) {
            unlink(file);
        }
        WriteFile(core::SZF_INDEX_CONFIG, R"({"settle": "1s", "pauseCpu": 0, "pauseIo": 0})");
        WriteFile(core::SZF_ENABLE_INDEX, "");
        chmod("/volume1/docs", 0777);
    }
};

TEST_F(DaemonAttack, NobodyElseMayAskIt) {
    const RunningDaemon daemon;
    const auto result = AsOther([] {
        const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, vellumo::loader::kDaemonSocket,
                     sizeof(address.sun_path) - 1);
        const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
        return connect(socket.Get(), generic, sizeof(address)) == 0 ? 0 : errno;
    });
    if (!result) {
        GTEST_SKIP() << "skipped: no other users here";
    }
    EXPECT_EQ(*result, EACCES);
}

TEST_F(DaemonAttack, LocksOnThePidFileKeepNoDaemonFromStarting) {
    {
        RunningDaemon daemon;
        daemon.Signal(SIGKILL);  // which leaves the pid file
        daemon.Wait();
    }
    const Channel locked;
    const Attacker attacker([&] {
        const Descriptor file(open(core::SZF_PIDPATH, O_RDONLY | O_CLOEXEC));
        flock(file.Get(), LOCK_EX);
        struct flock whole {};
        whole.l_type = F_RDLCK;
        fcntl(file.Get(), F_OFD_SETLK, &whole);
        locked.Send(file ? 0 : errno);
        pause();
    });
    if (!attacker) {
        GTEST_SKIP() << "skipped: no other users here";
    }
    ASSERT_EQ(locked.Receive(), 0);
    RunningDaemon next;
    EXPECT_EQ(next.Stop(), 0);
}

TEST_F(DaemonAttack, NobodyElseWritesToTheIndexingQueue) {
    const auto result = AsOther([] {
        const Descriptor made(open(core::SZF_INDEX_QUEUE, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        return made ? 0 : errno;
    });
    if (!result) {
        GTEST_SKIP() << "skipped: no other users here";
    }
    EXPECT_EQ(*result, EACCES);
}

TEST_F(DaemonAttack, PipesLinksAndFoldersNamedLikeDocumentsHoldNothingUp) {
    WriteFile("/volume1/secret.docx", "some secret");
    chmod("/volume1/secret.docx", 0600);
    ASSERT_EQ(mkfifo("/volume1/docs/pipe.docx", 0666), 0);
    ASSERT_EQ(symlink("/volume1/secret.docx", "/volume1/docs/link.docx"), 0);
    MakeDirectory("/volume1/docs/folder.docx");
    const std::string document = MakeDocument("a.docx");
    const RunningDaemon daemon;
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); }));
    EXPECT_TRUE(RunningDaemon::IsDone());
    EXPECT_FALSE(HasPdf("/volume1/secret.docx"));
    EXPECT_FALSE(HasPdf("/volume1/docs/link.docx"));
}

TEST_F(DaemonAttack, AStormOfRenamesDelaysNobodyElsesDocuments) {
    const Attacker attacker([] {
        static int number = 0;
        const std::string old = "/volume1/docs/storm-" + std::to_string(number % 50) + ".docx";
        const std::string next = "/volume1/docs/storm-" + std::to_string(++number % 50) + ".docx";
        const Descriptor made(open(old.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        rename(old.c_str(), next.c_str());
    });
    if (!attacker) {
        GTEST_SKIP() << "skipped: no other users here";
    }
    const RunningDaemon daemon;
    const std::string document = MakeDocument("a.docx");
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); }, std::chrono::seconds(60)));
    EXPECT_TRUE(RunningDaemon::Status().isObject()) << "the daemon does not answer";
}

}  // namespace

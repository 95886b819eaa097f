// SPDX-License-Identifier: Apache-2.0
// Watching where the kernel gives little, and where somebody makes it hard on purpose.
#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Process.h"
#include "Watched.h"
#include "daemon/watch/Settling.h"

namespace vellumo::watch {
namespace {

using namespace vellumo::test;
namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::string In(const std::string& name) {
    return std::string(kDocs) + '/' + name;
}

// Runs `body` in a process of a user namespace of its own, where it is root without the rights of
// root, and may watch `watches` folders. Returns its exit status; nothing where that is not
// allowed.
std::optional<int> InNamespace(int watches, const std::function<void()>& body) {
    constexpr int kNotAllowed = 77;
    ChildProcess process([&] {
        const uid_t user = geteuid();
        const gid_t group = getegid();
        if (unshare(CLONE_NEWUSER) != 0) {
            return kNotAllowed;
        }
        WriteFile("/proc/self/setgroups", "deny");
        WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        WriteFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
        const std::string limit = "/proc/sys/user/max_inotify_watches";
        std::ofstream(limit) << watches << std::flush;
        if (ReadFile(limit) != std::to_string(watches) + "\n") {
            return kNotAllowed;
        }
        body();
        return testing::Test::HasFailure() ? 1 : 0;
    });
    const int status = process.Wait();
    return status == kNotAllowed ? std::nullopt : std::optional(status);
}

class Limits : public DeviceTest {};

TEST_F(Limits, WithoutRightsFoldersAreWatchedByInotify) {
    const auto status = InNamespace(1000, [] {
        Watching watching({kDocs}, {Way::kAuto, {}, Quick()});
        EXPECT_EQ(watching.Status().front().way, Way::kInotify);
        EXPECT_EQ(watching.Status().front().note, "fanotify: Operation not permitted");
        Collector found(watching);
        EXPECT_TRUE(found.Finds(Rescan(kDocs)));
        WriteFile(In("a.docx"), "text");
        EXPECT_TRUE(found.Finds(Changed(In("a.docx"))));
    });
    if (!status) {
        GTEST_SKIP() << "skipped: no user namespace of its own";
    }
    EXPECT_EQ(*status, 0);
}

TEST_F(Limits, FoldersBeyondTheLimitOfInotifyAreScanned) {
    for (int i = 0; i < 100; ++i) {
        MakeDirectory(In("f" + std::to_string(i) + "/sub"));
    }
    const auto status = InNamespace(40, [] {
        Watching watching({kDocs}, {Way::kInotify, {}, Quick()});
        Collector found(watching);
        ASSERT_TRUE(found.Finds(Rescan(kDocs)));
        EXPECT_NE(watching.Status().front().note.find("fs.inotify.max_user_watches"),
                  std::string::npos)
            << watching.Status().front().note;
        for (int i = 0; i < 100; ++i) {
            const std::string path = In("f" + std::to_string(i) + "/sub/a.docx");
            WriteFile(path, "text");
            ASSERT_TRUE(found.Finds(Changed(path))) << path;
        }
        MakeDirectory(In("new/sub"));
        EXPECT_TRUE(found.Finds(Rescan(In("new/sub"))));
        WriteFile(In("new/sub/a.docx"), "text");
        EXPECT_TRUE(found.Finds(Changed(In("new/sub/a.docx"))));
    });
    if (!status) {
        GTEST_SKIP() << "skipped: no user namespace of its own";
    }
    EXPECT_EQ(*status, 0);
}

[[maybe_unused]] double ResidentMegabytes() {
    std::ifstream status("/proc/self/statm");
    double pages = 0;
    status >> pages >> pages;
    return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

// What a user with a shell can do to a folder of theirs, as fast as they can.
void Storm() {
    const std::string odd = In("odd \n'\"\xff\xfe");
    mkdir(odd.c_str(), 0755);
    std::string deep = In("deep");
    for (int i = 0; i < 300; ++i) {
        mkdir(deep.c_str(), 0755);
        deep += "/d";
    }
    for (int i = 0; i < 200000; ++i) {
        const std::string name = std::to_string(i % 5000) + "\n\xfe.docx";
        close(open((odd + '/' + name).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
        rename((odd + '/' + name).c_str(), In("moved" + name).c_str());
        rename(In("deep").c_str(), In("deeper").c_str());
        rename(In("deeper").c_str(), In("deep").c_str());
        mkdir((odd + "/f" + name).c_str(), 0755);
        rmdir((odd + "/f" + name).c_str());
    }
}

class Storms : public DeviceTest, public testing::WithParamInterface<Way> {};

TEST_P(Storms, NeitherBlockNorFillTheMemory) {
    Watching watching({kDocs}, {GetParam(), {}, Quick()});
    if (watching.Status().front().way != GetParam()) {
        GTEST_SKIP() << "skipped: " << watching.Status().front().note;
    }
    Settling settling({kDocs});
    Collector found(watching);
    ASSERT_TRUE(found.Finds(Rescan(kDocs)));
    [[maybe_unused]] const double before = ResidentMegabytes();
    const auto begin = steady_clock::now();
    milliseconds longest{0};
    {
        const ChildProcess user([] {
            Storm();
            return 0;
        });
        while (steady_clock::now() - begin < std::chrono::seconds(8)) {
            const auto step = steady_clock::now();
            for (const Change& change : watching.Take()) {
                settling.Add(change);
            }
            static_cast<void>(settling.TakeSettled());
            longest = std::max(
                longest, std::chrono::duration_cast<milliseconds>(steady_clock::now() - step));
            ASSERT_LE(settling.Waiting(), 22000U);
        }
    }
    RecordProperty("longest_ms", static_cast<int>(longest.count()));
    EXPECT_LT(longest, milliseconds(2000));
#ifndef __SANITIZE_ADDRESS__
    EXPECT_LT(ResidentMegabytes() - before, 50);
#endif
    found.For(milliseconds(500));
    found.changes.clear();
    MakeDirectory(In("after"));
    found.For(milliseconds(500));
    WriteFile(In("after/last.docx"), "text");
    EXPECT_TRUE(found.Finds(Changed(In("after/last.docx"))));
}

INSTANTIATE_TEST_SUITE_P(Ways, Storms, testing::Values(Way::kFanotify, Way::kInotify, Way::kScan),
                         [](const auto& test) { return std::string(NameOf(test.param)); });

}  // namespace
}  // namespace vellumo::watch

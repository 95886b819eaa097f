// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>
#include <navo/xferlog.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <sstream>
#include <vector>

#include "OnDevice.h"
#include "Outcome.h"
#include "Process.h"

using namespace navo::test;

namespace {

constexpr const char* kDirectory = "/var/log/navo";
constexpr const char* kLog = "/var/log/navo/transfer.log";

int Log(const std::string& fileName) {
    return NAVOLogNOSFMXferLog("192.0.2.7", "ann", "View Document", 5000000000, fileName.c_str(),
                               0);
}

std::vector<Json::Value> Entries() {
    std::vector<Json::Value> entries;
    std::istringstream lines(ReadFile(kLog));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream text(line);
        std::string errors;
        entries.emplace_back();
        EXPECT_TRUE(
            Json::parseFromStream(Json::CharReaderBuilder(), text, &entries.back(), &errors))
            << errors << " in: " << line;
    }
    return entries;
}

class XferLogOnDevice : public OnDeviceTest {
protected:
    void SetUp() override {
        OnDeviceTest::SetUp();
        if (!IsSkipped()) {
            std::filesystem::remove_all(kLog);
        }
    }
};

// Files may grow to `size` bytes only, for as long as it lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t size) : _handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &_before);
        const rlimit limit{size, _before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &_before);
        std::signal(SIGXFSZ, _handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    sighandler_t _handler;
    rlimit _before{};
};

}  // namespace

TEST_F(XferLogOnDevice, EntryIsOneLineOfJson) {
    ExpectSuccess([] { return Log("/docs/a.docx"); }, 0);
    const std::string text = ReadFile(kLog);
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    const auto entries = Entries();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].getMemberNames(),
              (std::vector<std::string>{"action", "file", "ip", "size", "time", "user"}));
    EXPECT_EQ(entries[0]["size"].asInt64(), 5000000000);
    EXPECT_EQ(PermissionsOf(kLog), 0640U);
}

TEST_F(XferLogOnDevice, TextsStayInTheirMembers) {
    const std::vector<std::string> names = {
        "a\nb\r\n", "\"},{\"",         "\\",           "\xc3",         "\xc3\"",
        "\xff",     "\xed\xa0\x80",    "\xe2\x80\xa8", "\xc3\xa4.pdf", "\x01\x1b[2J",
        "",         "\xf5\x90\x80\x80"};
    for (const std::string& name : names) {
        EXPECT_EQ(Log(name), 0);
    }
    const auto entries = Entries();
    ASSERT_EQ(entries.size(), names.size()) << ReadFile(kLog);
    EXPECT_EQ(entries[0]["file"].asString(), names[0]);
    EXPECT_EQ(entries[1]["file"].asString(), names[1]);
    EXPECT_EQ(entries[4]["file"].asString(), "\xef\xbf\xbd\"") << "what follows is kept";
    EXPECT_EQ(entries[8]["file"].asString(), names[8]);
    for (const char c : ReadFile(kLog)) {
        EXPECT_TRUE(c == '\n' || (c >= ' ' && c < '\x7f')) << static_cast<int>(c);
    }
}

TEST_F(XferLogOnDevice, NullTextsAreEmpty) {
    EXPECT_EQ(NAVOLogNOSFMXferLog(nullptr, nullptr, nullptr, -1, nullptr, 0), 0);
    EXPECT_EQ(Entries().at(0)["file"], "");
    EXPECT_EQ(Entries().at(0)["size"], -1);
}

// The view has its folder mounted there, so it is taken away in a process with mounts of its own.
TEST_F(XferLogOnDevice, FolderIsMadeWhenItIsMissing) {
    constexpr int kCannotTry = 77;
    vellumo::test::ChildProcess child([] {
        if (unshare(CLONE_NEWNS) != 0 || umount(kDirectory) != 0 || rmdir(kDirectory) != 0) {
            return kCannotTry;
        }
        EXPECT_EQ(Log("a"), 0);
        EXPECT_EQ(PermissionsOf(kDirectory), 0755U);
        EXPECT_EQ(Entries().size(), 1U);
        return HasFailure() ? 1 : 0;
    });
    const int status = child.Wait();
    if (status == kCannotTry) {
        GTEST_SKIP() << "skipped: the view's " << kDirectory << " cannot be taken away";
    }
    EXPECT_EQ(status, 0) << "see the failures above";
}

TEST_F(XferLogOnDevice, ThatIsNoFileFails) {
    ASSERT_EQ(mkdir(kLog, 0755), 0);
    ExpectFailure([] { return Log("a"); }, -1, {NAVO_ERR_OPEN_FAILED, EISDIR, "lock.cpp"});
    ASSERT_EQ(rmdir(kLog), 0);
    ASSERT_EQ(mkfifo(kLog, 0600), 0);
    ExpectFailure([] { return Log("a"); }, -1, {NAVO_ERR_IO, EINVAL, "xferlog.cpp"});
}

TEST_F(XferLogOnDevice, ReservedMustBeZero) {
    ExpectFailure([] { return NAVOLogNOSFMXferLog("", "", "", 0, "", 1); }, -1,
                  {NAVO_ERR_BAD_PARAMETERS, EINVAL, "xferlog.cpp"});
    EXPECT_FALSE(Exists(kLog));
}

TEST_F(XferLogOnDevice, EntryThatFindsNoRoomLeavesTheLogAsItWas) {
    EXPECT_EQ(Log("a"), 0);
    const std::string before = ReadFile(kLog);
    {
        const FileSizeLimit limit(before.size() + 20);
        ExpectFailure([] { return Log("b"); }, -1, {NAVO_ERR_IO, ENOSPC, "xferlog.cpp"});
    }
    EXPECT_EQ(ReadFile(kLog), before);
    EXPECT_EQ(Log("c"), 0);
    EXPECT_EQ(Entries().size(), 2U);
}

TEST_F(XferLogOnDevice, SomebodyElsesLockIsWaitedForAndThenGivenUp) {
    EXPECT_EQ(Log("a"), 0);
    const int holder = open(kLog, O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(holder, LOCK_EX), 0);
    ExpectFailure([] { return Log("b"); }, -1, {NAVO_ERR_LOCK_TIMEOUT, EAGAIN, "lock.cpp"});
    close(holder);
    EXPECT_EQ(Log("c"), 0);
    EXPECT_EQ(Entries().size(), 2U);
}

TEST_F(XferLogOnDevice, CannotBeLockedByAnotherAccount) {
    EXPECT_EQ(Log("a"), 0);
    const auto lock = [] {
        return vellumo::test::AsOther([] {
            const int opened = open(kLog, O_RDONLY | O_CLOEXEC);
            return opened >= 0 && flock(opened, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
        });
    };
    const auto error = lock();
    if (!error) {
        GTEST_SKIP() << "no other user to be";
    }
    EXPECT_EQ(*error, EACCES);
    chmod(kLog, 0644);
    EXPECT_EQ(lock(), 0) << "the attack does not work at all";
}

TEST_F(XferLogOnDevice, EntriesOfSeveralProcessesAreAllThere) {
    constexpr int kProcesses = 4;
    constexpr int kEntries = 50;
    const auto log = [](int process) {
        int failures = 0;
        for (int entry = 0; entry < kEntries; ++entry) {
            const std::string name = std::to_string(process) + "/" + std::to_string(entry);
            failures += Log(name + std::string(3000, 'x')) == 0 ? 0 : 1;
        }
        return failures;
    };
    EXPECT_THAT(vellumo::test::RunAtOnce(kProcesses, log), testing::Each(0));
    std::set<std::string> names;
    for (const Json::Value& entry : Entries()) {
        names.insert(entry["file"].asString());
    }
    EXPECT_EQ(names.size(), static_cast<size_t>(kProcesses * kEntries));
}

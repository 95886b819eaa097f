// SPDX-License-Identifier: Apache-2.0
#include "vellumo/ConfigManager.h"

#include <fcntl.h>
#include <navo/error.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <functional>

#include "Device.h"
#include "PlatformDouble.h"
#include "Process.h"
#include "StateFile.h"
#include "SyslogSink.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

constexpr const char* kFile = "/volume1/docs/state";
constexpr const char* kFactoryDefault = "/var/packages/Vellumo/target/conf/config";

class StateFileTest : public DeviceTest {
protected:
    StateFileTest() { PlatformDouble::Get().Reset(); }
    ~StateFileTest() override { PlatformDouble::Get().Reset(); }

    // Whether another process can take the lock at once.
    static bool OtherCanLock(bool exclusive) {
        ChildProcess process([=] {
            ConfigManager other(kFile, 0);
            return (exclusive ? other.LockW() : other.LockR()) ? 0 : 1;
        });
        return process.Wait() == 0;
    }

    static mode_t ModeOfFile() {
        struct stat status {};
        return stat(kFile, &status) == 0 ? status.st_mode & 07777U : 0;
    }

    static std::vector<std::string> LockCalls() {
        std::vector<std::string> calls;
        for (const PlatformCall& call : PlatformDouble::Get().Calls()) {
            if (call.operation == "NLIBCFileLockTimeByFile") {
                calls.emplace_back(call.arguments[1] == "1" ? "write" : "read");
            } else if (call.operation == "NLIBCFileUnlockByFile") {
                calls.emplace_back("unlock");
            }
        }
        return calls;
    }
};

std::string Regex(const std::string& text) {
    return "ConfigManager:[0-9]+ \\([0-9]+\\) " + text;
}

}  // namespace

TEST_F(StateFileTest, MissingFileIsCreatedEmpty) {
    const ConfigManager manager(kFile, 5);
    EXPECT_TRUE(Exists(kFile));
    EXPECT_EQ(ReadFile(kFile), "");
}

TEST_F(StateFileTest, ExistingFileKeepsItsContent) {
    WriteFile(kFile, R"({"a":1})");
    const ConfigManager manager(kFile, 5);
    EXPECT_EQ(ReadFile(kFile), R"({"a":1})");
}

TEST_F(StateFileTest, FileThatCannotBeCreatedIsIgnoredUntilItIsLocked) {
    ConfigManager manager("/volume1/missing/state", 0);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
    EXPECT_FALSE(manager.LockR());
}

TEST_F(StateFileTest, StartsUnlockedAndWell) {
    const ConfigManager manager(kFile, 5);
    EXPECT_EQ(manager.lockState, 0);
    EXPECT_TRUE(manager.lastOk);
    EXPECT_TRUE(manager.config.isNull());
}

TEST_F(StateFileTest, ReadLockSharesAndExcludesWriters) {
    ConfigManager manager(kFile, 5);
    EXPECT_TRUE(manager.LockR());
    EXPECT_EQ(manager.lockState, 1);
    EXPECT_TRUE(OtherCanLock(false));
    EXPECT_FALSE(OtherCanLock(true));
}

TEST_F(StateFileTest, WriteLockExcludesReadersAndWriters) {
    ConfigManager manager(kFile, 5);
    EXPECT_TRUE(manager.LockW());
    EXPECT_EQ(manager.lockState, 2);
    EXPECT_FALSE(OtherCanLock(false));
    EXPECT_FALSE(OtherCanLock(true));
    EXPECT_TRUE(manager.Unlock());
    EXPECT_EQ(manager.lockState, 0);
    EXPECT_TRUE(OtherCanLock(true));
}

TEST_F(StateFileTest, ReadLockUnderTheWriteLockKeepsTheWriteLock) {
    ConfigManager manager(kFile, 5);
    ASSERT_TRUE(manager.LockW());
    EXPECT_TRUE(manager.LockR());
    EXPECT_EQ(manager.lockState, 2);
    EXPECT_FALSE(OtherCanLock(false));
    EXPECT_THAT(LockCalls(), ElementsAre("write"));
}

TEST_F(StateFileTest, SecondReadOrWriteLockIsTheOneHeld) {
    ConfigManager manager(kFile, 5);
    EXPECT_TRUE(manager.LockR());
    EXPECT_TRUE(manager.LockR());
    EXPECT_THAT(LockCalls(), ElementsAre("read"));
    manager.Unlock();
    PlatformDouble::Get().Reset();
    EXPECT_TRUE(manager.LockW());
    EXPECT_TRUE(manager.LockW());
    EXPECT_THAT(LockCalls(), ElementsAre("write"));
}

TEST_F(StateFileTest, WriteLockOverAReadLockReleasesItFirst) {
    ConfigManager manager(kFile, 5);
    ASSERT_TRUE(manager.LockR());
    EXPECT_TRUE(manager.LockW());
    EXPECT_EQ(manager.lockState, 2);
    EXPECT_THAT(LockCalls(), ElementsAre("read", "unlock", "write"));
}

TEST_F(StateFileTest, WriteLockNotHadLosesTheReadLock) {
    ConfigManager manager(kFile, 0);
    ConfigManager other(kFile, 0);
    ASSERT_TRUE(manager.LockR());
    ASSERT_TRUE(other.LockR());
    EXPECT_FALSE(manager.LockW());
    EXPECT_EQ(manager.lockState, 0);
}

TEST_F(StateFileTest, UnlockWithoutALockIsTrue) {
    ConfigManager manager(kFile, 5);
    EXPECT_TRUE(manager.Unlock());
    EXPECT_THAT(LockCalls(), IsEmpty());
}

TEST_F(StateFileTest, DestructionGivesTheLockBack) {
    {
        ConfigManager manager(kFile, 5);
        ASSERT_TRUE(manager.LockW());
    }
    EXPECT_TRUE(OtherCanLock(true));
}

TEST_F(StateFileTest, LockNotHadIsLoggedWithThePlatformsError) {
    ConfigManager holder(kFile, 0);
    ConfigManager manager(kFile, 0);
    ASSERT_TRUE(holder.LockW());
    EXPECT_FALSE(manager.LockR());
    EXPECT_FALSE(manager.LockW());
    char code[16];
    std::snprintf(code, sizeof(code), "0x%04X", static_cast<unsigned>(NLIBCErrGet()));
    const std::string where =
        std::string(code) + " " + NLIBCErrorGetFile() + ":" + std::to_string(NLIBCErrorGetLine());
    const std::string end = ", \\[" + where + "\\]( \\[err: .*\\])?";
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Regex("file lock failed: " + std::string(kFile) + end)),
                            MatchesRegex(Regex("file lock falied: " + std::string(kFile) + end))));
    EXPECT_GT(NLIBCErrorGetLine(), 0);
}

TEST_F(StateFileTest, UnlockThatFailsLeavesTheStateAndIsLogged) {
    ConfigManager manager(kFile, 5);
    ASSERT_TRUE(manager.LockW());
    PlatformDouble::Get().Always("NLIBCFileUnlockByFile", -1);
    EXPECT_FALSE(manager.Unlock());
    EXPECT_EQ(manager.lockState, 2);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Regex("file unlock falied: " + std::string(kFile) +
                                               ", \\[0x[0-9A-F]{4} .*:[0-9]+\\]"))));
}

TEST_F(StateFileTest, SavedDocumentIsReadBackUnchanged) {
    ConfigManager manager(kFile, 5);
    manager.config =
        Parsed(R"({"text":"a\"\\\n\u0001\u00fc","int":-3,"real":0.1,"big":18446744073709551615,
                                "yes":true,"none":null,"list":[1,[2,{}]],"object":{"a":{"b":[]}}})");
    manager.config["not utf-8 \xff\xc3("] = "value \xfe";
    const Json::Value before = manager.config;
    EXPECT_TRUE(manager.Save());
    manager.config = Json::Value();
    EXPECT_TRUE(manager.Load());
    EXPECT_EQ(manager.config, before);
}

TEST_F(StateFileTest, SaveReplacesTheWholeFileInPlace) {
    WriteFile(kFile, std::string(100000, ' ') + R"({"old":1})");
    struct stat before {};
    ASSERT_EQ(stat(kFile, &before), 0);
    ConfigManager manager(kFile, 5);
    manager.config["new"] = 1;
    EXPECT_TRUE(manager.Save());
    struct stat after {};
    ASSERT_EQ(stat(kFile, &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(Parsed(ReadFile(kFile)), Parsed(R"({"new":1})"));
}

TEST_F(StateFileTest, SaveThatCannotOpenTheFileIsLogged) {
    ConfigManager manager("/volume1/missing/state", 5);
    EXPECT_FALSE(manager.Save());
    const std::string error = std::strerror(ENOENT);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Regex("config /volume1/missing/state save failed " +
                                               error + " \\[err: " + error + "\\]"))));
}

TEST_F(StateFileTest, SaveThatCannotWriteToTheEndIsFalse) {
    ConfigManager manager("/dev/full", 5);
    manager.config["a"] = 1;
    EXPECT_FALSE(manager.Save());
}

TEST_F(StateFileTest, LoadOfNoJsonIsFalseAndSilent) {
    ConfigManager manager(kFile, 5);
    const std::string deep(100000, '[');
    for (const std::string& content : {std::string(), std::string("{\"a\":"), std::string("hello"),
                                       std::string("{'a':1}"), std::string("\0\0", 2), deep}) {
        WriteFile(kFile, content);
        EXPECT_FALSE(manager.Load()) << content.substr(0, 20);
    }
    unlink(kFile);
    EXPECT_FALSE(manager.Load());
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

namespace {

constexpr const char* kCopy = "/volume1/docs/state.copy";
const std::string kWhole =
    R"({"navo1":{"using":1,"used":7},"runningFiles":{"/volume1/\u00fc:origin":{}}})";

int InOwnProcess(const std::function<int()>& body) {
    return ChildProcess(body).Wait();
}

}  // namespace

TEST_F(StateFileTest, TornAtAnyByteIsReadFromItsCopy) {
    for (size_t length = 0; length < kWhole.size(); ++length) {
        for (const std::string& rest : {std::string(), std::string(5, '\0')}) {
            WriteFile(kFile, kWhole.substr(0, length) + rest);
            WriteFile(kCopy, kWhole);
            ConfigManager manager(kFile, 5);
            EXPECT_TRUE(manager.Load()) << length;
            EXPECT_EQ(manager.config, Parsed(kWhole)) << length;
        }
    }
}

TEST_F(StateFileTest, WholeFileIsNotReadFromACopyAndRemovesItWithTheNextSave) {
    WriteFile(kFile, R"({"a":1})");
    for (size_t length = 0; length <= kWhole.size(); ++length) {
        WriteFile(kCopy, kWhole.substr(0, length));
        ConfigManager manager(kFile, 5);
        EXPECT_TRUE(manager.Load());
        EXPECT_EQ(manager.config, Parsed(R"({"a":1})"));
        EXPECT_TRUE(manager.Save());
        EXPECT_FALSE(Exists(kCopy));
    }
}

TEST_F(StateFileTest, WhatIsNoPartOfTheCopyIsNotReplaced) {
    WriteFile(kCopy, kWhole);
    WriteFile(kFile, "edited by hand");
    ConfigManager manager(kFile, 5);
    EXPECT_FALSE(manager.Load());
}

TEST_F(StateFileTest, TornCopyOfATornFileIsNoCopy) {
    WriteFile(kFile, "{");
    WriteFile(kCopy, kWhole.substr(0, 40));
    ConfigManager manager(kFile, 5);
    EXPECT_FALSE(manager.Load());
}

// A file that cannot be written to its end leaves the copy.
TEST_F(StateFileTest, CopyIsForItsOwnerAlone) {
    const mode_t before = umask(0);
    const int ended = InOwnProcess([] {
        ConfigManager manager("/dev/full", 0);
        manager.config["a"] = 1;
        manager.Save();
        struct stat status {};
        return stat("/dev/full.copy", &status) == 0 && (status.st_mode & 07777U) == 0600 ? 0 : 1;
    });
    umask(before);
    unlink("/dev/full.copy");
    EXPECT_EQ(ended, 0);
}

// The limit of a file's size stops a write as a full disk does.
TEST_F(StateFileTest, KeepsItsContentWhenThereIsNoSpace) {
    WriteFile(kFile, kWhole);
    const int ended = InOwnProcess([] {
        std::signal(SIGXFSZ, SIG_IGN);
        ConfigManager manager(kFile, 5);
        if (!manager.LockW() || !manager.Load()) {
            return 1;
        }
        manager.config["more"] = std::string(10000, 'x');
        const rlimit limit{5000, 5000};
        setrlimit(RLIMIT_FSIZE, &limit);
        return manager.Save() ? 2 : 0;
    });
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(ReadFile(kFile), kWhole);
    EXPECT_FALSE(Exists(kCopy));
}

TEST_F(StateFileTest, ResetRestoresTheFactoryDefault) {
    WriteFile(kFactoryDefault, R"({"factory":1})");
    WriteFile(kFile, R"({"old":1})");
    EXPECT_TRUE(ConfigManager::Reset(kFile));
    EXPECT_EQ(ReadFile(kFile), R"({"factory":1})");
    EXPECT_TRUE(Exists(kFactoryDefault));
}

namespace {

// Another account that would make everybody wait: it opens the file for reading and locks it.
std::optional<int> LockAsOther() {
    return AsOther([] {
        const int file = open(kFile, O_RDONLY);
        return file < 0 ? errno : flock(file, LOCK_EX | LOCK_NB);
    });
}

}  // namespace

TEST_F(StateFileTest, CannotBeLockedByAnotherAccount) {
    WriteFile(kFile, "{}");
    ASSERT_EQ(chmod(kFile, 0644), 0);
    const auto before = LockAsOther();
    if (!before) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    EXPECT_EQ(*before, 0) << "the attack does not work at all";
    const ConfigManager manager(kFile, 0);
    EXPECT_EQ(LockAsOther(), EACCES);
}

TEST_F(StateFileTest, IsNewForItsOwnerAlone) {
    const mode_t before = umask(0);
    ConfigManager manager(kFile, 0);
    EXPECT_EQ(ModeOfFile(), 0600U);
    unlink(kFile);
    EXPECT_TRUE(manager.Save());
    umask(before);
    EXPECT_EQ(ModeOfFile(), 0600U);
}

TEST_F(StateFileTest, IsForItsOwnerAloneAfterAReset) {
    WriteFile(kFactoryDefault, "{}");
    ASSERT_EQ(chmod(kFactoryDefault, 0644), 0);
    EXPECT_TRUE(ConfigManager::Reset(kFile));
    EXPECT_EQ(ModeOfFile(), 0600U);
}

TEST_F(StateFileTest, ResetIntoAMissingDirectoryFails) {
    EXPECT_FALSE(ConfigManager::Reset("/volume1/missing/state"));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Regex("restor config error( \\[err: .*\\])?"))));
}

TEST_F(StateFileTest, WriterSavesAtItsEndAndUnlocks) {
    WriteFile(kFile, R"({"kept":1})");
    ConfigManager manager(kFile, 5);
    {
        const ConfigWriter writer(manager);
        EXPECT_EQ(manager.lockState, 2);
        EXPECT_TRUE(manager.lastOk);
        manager.config["new"] = 2;
        EXPECT_EQ(ReadFile(kFile), R"({"kept":1})") << "nothing is written before the end";
    }
    EXPECT_TRUE(manager.lastOk);
    EXPECT_EQ(manager.lockState, 0);
    EXPECT_EQ(Parsed(ReadFile(kFile)), Parsed(R"({"kept":1,"new":2})"));
}

TEST_F(StateFileTest, WriterInsideAWriteLockNeitherLoadsNorSavesNorUnlocks) {
    ConfigManager manager(kFile, 5);
    ASSERT_TRUE(manager.LockW());
    manager.config["mine"] = 1;
    { const ConfigWriter writer(manager); }
    EXPECT_EQ(manager.lockState, 2);
    EXPECT_EQ(ReadFile(kFile), "");
    EXPECT_EQ(manager.config, Parsed(R"({"mine":1})"));
}

TEST_F(StateFileTest, WriterInsideAReadLockEndsHoldingTheReadLock) {
    WriteFile(kFile, "{}");
    ConfigManager manager(kFile, 5);
    ASSERT_TRUE(manager.LockR());
    {
        const ConfigWriter writer(manager);
        EXPECT_EQ(manager.lockState, 2);
    }
    EXPECT_EQ(manager.lockState, 1);
    EXPECT_TRUE(manager.lastOk);
    EXPECT_THAT(LockCalls(), ElementsAre("read", "unlock", "write", "unlock", "read"));
}

TEST_F(StateFileTest, WriterLoadsAlsoWithoutTheLockSoThatNothingOfOthersIsDropped) {
    WriteFile(kFile, R"({"others":1})");
    ConfigManager manager(kFile, 0);
    ConfigManager holder(kFile, 0);
    ASSERT_TRUE(holder.LockW());
    {
        const ConfigWriter writer(manager);
        EXPECT_FALSE(manager.lastOk);
        manager.config["mine"] = 2;
    }
    EXPECT_TRUE(manager.lastOk) << "the save, unlock and relock of the end are what counts";
    EXPECT_EQ(Parsed(ReadFile(kFile)), Parsed(R"({"others":1,"mine":2})"));
}

TEST_F(StateFileTest, WriterNotesASaveThatFails) {
    ConfigManager manager("/volume1/missing/state", 0);
    {
        const ConfigWriter writer(manager);
        EXPECT_FALSE(manager.lastOk);
    }
    EXPECT_FALSE(manager.lastOk);
}

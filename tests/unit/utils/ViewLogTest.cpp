// SPDX-License-Identifier: Apache-2.0
#include <navo/APIRequest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <filesystem>

#include "Accounts.h"
#include "Device.h"
#include "PlatformDouble.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "vellumo/utils.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kLog = "/var/log/navo/transfer.log";
constexpr const char* kDocument = "/volume1/docs/a.docx";
constexpr const char* kFailedWrite =
    "Failed [-1 == NAVOLogNOSFMXferLog(strIP.c_str(), strUser.c_str(), SZ_TYPE_VIEW, fileSize, "
    "strTmpFilename.c_str(), 0)]";
constexpr const char* kFailedStat = "Failed [0 != stat(strRealPath.c_str(), &statBuf)]";

void SetSetting(const std::string& line) {
    WriteFile("/usr/navo/etc/navo.conf", line + "\n");
}

void SetText(const std::string& text) {
    WriteFile("/usr/navo/etc/strings/enu.ini", "[sharing]\ndownload_log_desc=\"" + text + "\"\n");
}

std::vector<Json::Value> Entries() {
    std::vector<Json::Value> entries;
    std::istringstream lines(ReadFile(kLog));
    for (std::string line; std::getline(lines, line);) {
        entries.push_back(Parsed(line));
        EXPECT_TRUE(entries.back().isObject()) << "no entry: " << line;
    }
    return entries;
}

class ViewLogging : public DeviceTest {
protected:
    ViewLogging() {
        PlatformDouble::Get().Reset();
        WriteFile(kDocument, std::string(1234, 'x'));
        SetSetting("filebrowserxferlog=\"yes\"");
        SetText("downloaded: ");
        _request.SetRemoteIP("192.0.2.7");
        _request.SetLoginUserName("ann");
    }
    ~ViewLogging() override {
        PlatformDouble::Get().Reset();
        EXPECT_TRUE(SetEffectiveUser(0));
        EXPECT_TRUE(SetEffectiveGroup(0));
    }
    void Share(const std::string& owner, int uid) {
        NAVO::sharing::record::Entry entry;
        entry.set_owner_user(owner);
        NAVO::sharing::record::Session session;
        session.set_uid(uid);
        _request.SetSharing(entry, session);
    }
    bool View(const std::string& displayName = "/docs/a.docx") {
        return ViewLog(displayName, kDocument, &_request);
    }

    NAVO::APIRequest _request;
};

}  // namespace

TEST_F(ViewLogging, OfALoggedInUserTellsWhoWhatAndWhere) {
    EXPECT_TRUE(View());
    const auto entries = Entries();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0]["ip"], "192.0.2.7");
    EXPECT_EQ(entries[0]["user"], "ann");
    EXPECT_EQ(entries[0]["action"], "View Document");
    EXPECT_EQ(entries[0]["size"], 1234);
    EXPECT_EQ(entries[0]["file"], "/docs/a.docx");
    EXPECT_THAT(entries[0]["time"].asString(),
                testing::MatchesRegex("20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9:]{8}Z"));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(ViewLogging, HandsThePlatformTheEntryAsItIs) {
    EXPECT_TRUE(View());
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOLogNOSFMXferLog").front().arguments,
                ElementsAre("192.0.2.7", "ann", "View Document", "1234", "/docs/a.docx", "0"));
}

TEST_F(ViewLogging, IsWantedWhateverTheCaseOfYes) {
    for (const char* value : {"yes", "YES", "Yes"}) {
        SetSetting(std::string("filebrowserxferlog=\"") + value + "\"");
        EXPECT_TRUE(View());
    }
    EXPECT_EQ(Entries().size(), 3U);
}

TEST_F(ViewLogging, TouchesNothingUnlessWanted) {
    for (const char* line : {"", "filebrowserxferlog=\"no\"", "filebrowserxferlog=\"\"",
                             "filebrowserxferlog=\"true\"", "filebrowserxferlog=\"yes \"", "[="}) {
        SetSetting(line);
        EXPECT_TRUE(ViewLog("a", "/volume1/missing", nullptr)) << line;
    }
    std::filesystem::remove("/usr/navo/etc/navo.conf");
    EXPECT_TRUE(ViewLog("a", "/volume1/missing", nullptr)) << "without settings";
    EXPECT_FALSE(Exists(kLog));
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOLogNOSFMXferLog"), IsEmpty());
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(ViewLogging, OfAVisitorWithoutAnAccountIsChargedToTheOwnerAndBeginsWithABlank) {
    Share("bob", -1);
    EXPECT_TRUE(View("a.docx"));
    const auto entries = Entries();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0]["user"], "bob");
    EXPECT_EQ(entries[0]["file"], " downloaded: a.docx");
}

TEST_F(ViewLogging, OfAVisitorWithAnAccountNamesTheVisitor) {
    const Accounts accounts(SomeAccounts(), SomeGroups());
    if (!accounts) {
        GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
    }
    Share("bob", 1005);
    EXPECT_TRUE(View("a.docx"));
    EXPECT_EQ(Entries().at(0)["user"], "bob");
    EXPECT_EQ(Entries().at(0)["file"], "CORP\\eve downloaded: a.docx");
}

TEST_F(ViewLogging, OfAVisitorWhoseIdHasNoAccountFailsSilently) {
    Share("bob", 424242);
    EXPECT_FALSE(View());
    EXPECT_FALSE(Exists(kLog));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(ViewLogging, OfALinkWithoutAKnownOwnerNamesNobody) {
    Share("", -1);
    EXPECT_TRUE(View("a.docx"));
    EXPECT_EQ(Entries().at(0)["user"], "");
}

TEST_F(ViewLogging, WithoutATextPutsNothingBetweenTheBlankAndTheName) {
    std::filesystem::remove("/usr/navo/etc/strings/enu.ini");
    Share("bob", -1);
    EXPECT_TRUE(View("a.docx"));
    EXPECT_EQ(Entries().at(0)["file"], " a.docx");
}

TEST_F(ViewLogging, OfADocumentThatIsGoneFails) {
    std::filesystem::remove(kDocument);
    errno = 0;
    EXPECT_FALSE(View());
    EXPECT_THAT(SyslogSink::Get().Messages(),
                ElementsAre(LogMessage{LOG_USER | LOG_ERR,
                                       LoggedWithError("utils", 151, kFailedStat, ENOENT)}));
    EXPECT_FALSE(Exists(kLog));
}

TEST_F(ViewLogging, ThatThePlatformRefusesFails) {
    PlatformDouble::Get().Always("NAVOLogNOSFMXferLog", -1);
    errno = 0;
    EXPECT_FALSE(View());
    PlatformDouble::Get().Always("NAVOLogNOSFMXferLog", -1, EROFS);
    EXPECT_FALSE(View());
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(Logged("utils", 168, kFailedWrite),
                            LoggedWithError("utils", 168, kFailedWrite, EROFS)));
}

TEST_F(ViewLogging, CountsAnyOtherAnswerOfThePlatformAsWritten) {
    PlatformDouble::Get().Always("NAVOLogNOSFMXferLog", -2);
    EXPECT_TRUE(View());
}

TEST_F(ViewLogging, ThatCannotBeWrittenFails) {
    MakeDirectory(kLog);
    EXPECT_FALSE(View());
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(LoggedWithError("utils", 168, kFailedWrite, EISDIR)));
}

TEST_F(ViewLogging, WithoutARequestFails) {
    EXPECT_FALSE(ViewLog("a", kDocument, nullptr));
    EXPECT_THAT(SyslogSink::Get().Texts(), ElementsAre(testing::HasSubstr("Failed [!request]")));
}

TEST_F(ViewLogging, OfALoaderThatIsAUserLooksAndWritesAsRoot) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
    }
    chmod("/volume1/docs", 0700);
    ASSERT_TRUE(SetEffectiveGroup(65533));
    ASSERT_TRUE(SetEffectiveUser(65534));
    EXPECT_TRUE(View());
    EXPECT_EQ(geteuid(), 65534U);
    EXPECT_EQ(getegid(), 65533U);
    ASSERT_TRUE(SetEffectiveUser(0));
    struct stat status {};
    ASSERT_EQ(stat(kLog, &status), 0);
    EXPECT_EQ(status.st_uid, 0U);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
    EXPECT_EQ(Entries().size(), 1U);
}

// The first change of ids is for looking at the document, the second for writing.
TEST_F(ViewLogging, OfWhoCannotBecomeRootFailsAndSaysWhere) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
    }
    ASSERT_TRUE(SetEffectiveUser(65534));
    for (const int line : {151, 168}) {
        int visits = 0;
        PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
            const bool takesRoot = call.operation == "setresuid" && call.arguments[0] == "0";
            visits += takesRoot && geteuid() != 0 ? 1 : 0;
            return takesRoot && visits == (line == 151 ? 1 : 2) ? std::optional(-1) : std::nullopt;
        });
        errno = 0;
        EXPECT_FALSE(View());
        const std::string where = "utils:" + std::to_string(line);
        EXPECT_THAT(SyslogSink::Get().Texts(),
                    ElementsAre(where + " ERROR: IF_RUN_AS(0, 0)",
                                Logged("utils", line, "cannot run as root")));
        EXPECT_EQ(geteuid(), 65534U);
    }
    PlatformDouble::Get().Reset();
    EXPECT_FALSE(Exists(kLog));
}

TEST_F(ViewLogging, CannotBeMadeToForgeAnEntry) {
    const std::string forged =
        "\"}\n{\"user\":\"root\",\"action\":\"Delete\"}\r\n\t\x01\x7f\\ \xc3\"}\n{\xff\xfe";
    _request.SetLoginUserName(forged);
    _request.SetRemoteIP(forged);
    EXPECT_TRUE(View(forged));
    const auto entries = Entries();
    ASSERT_EQ(entries.size(), 1U) << ReadFile(kLog);
    const std::string kept =
        "\"}\n{\"user\":\"root\",\"action\":\"Delete\"}\r\n\t\x01\x7f\\ \xef\xbf\xbd\"}\n{"
        "\xef\xbf\xbd\xef\xbf\xbd";
    EXPECT_EQ(entries[0]["file"].asString(), kept);
    EXPECT_EQ(entries[0]["user"].asString(), kept);
    EXPECT_EQ(entries[0]["action"], "View Document");
}

TEST_F(ViewLogging, AppendsToWhatIsThere) {
    EXPECT_TRUE(View("first"));
    EXPECT_TRUE(View("second"));
    const auto entries = Entries();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0]["file"], "first");
    EXPECT_EQ(entries[1]["file"], "second");
}

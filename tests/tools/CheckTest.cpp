// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "Accounts.h"
#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::HasSubstr;

namespace {

class CheckTest : public ToolTest {
protected:
    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        MakeDocument("a.docx");
        MakeDirectory("/volume1/docs/closed/inner");
        MakeDocument("closed/inner/b.docx");
    }

private:
    const Accounts _accounts{SomeAccounts(), SomeGroups()};
};

void Share(const std::string& settings, const std::string& global = "") {
    WriteFile("/etc/samba/smb.conf", "[global]\n" + global + "[docs]\npath = /volume1/docs\n" +
                                         settings + "\n[homes]\npath = /volume1/homes/%S\n" +
                                         settings + "\n");
}

void Permit(const std::string& name, mode_t mode) {
    ASSERT_EQ(chmod(("/volume1/docs/" + name).c_str(), mode), 0);
}

}  // namespace

TEST_F(CheckTest, SaysYes) {
    const Outcome outcome = RunTool({"check", "/docs/a.docx", "--user", "ann"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_EQ(outcome.out, "ann may read /docs/a.docx\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CheckTest, SaysNoAndNamesTheFile) {
    Permit("a.docx", 0640);
    const Outcome outcome = RunTool({"check", "/docs/a.docx", "--user", "ann"});
    ExpectStatus(outcome, ExitCode::kDenied);
    EXPECT_THAT(outcome.err, HasSubstr("ann may not read /docs/a.docx: may not read the file "
                                       "/volume1/docs/a.docx\n"));
    EXPECT_THAT(outcome.err, HasSubstr("getfacl -p /volume1/docs/a.docx"));
    EXPECT_EQ(outcome.out, "");
}

TEST_F(CheckTest, SaysNoAndNamesTheFolder) {
    Permit("closed", 0744);
    const Outcome outcome = RunTool({"check", "/docs/closed/inner/b.docx", "--user", "ann"});
    ExpectStatus(outcome, ExitCode::kDenied);
    EXPECT_THAT(outcome.err, HasSubstr("may not pass through the folder /volume1/docs/closed\n"));
}

TEST_F(CheckTest, TellsProgramsYes) {
    const Json::Value json = RunForJson({"check", "/docs/a.docx", "--user", "ann"});
    EXPECT_EQ(json["sharePath"], "/docs/a.docx");
    EXPECT_EQ(json["user"], "ann");
    EXPECT_EQ(json["realPath"], "/volume1/docs/a.docx");
    EXPECT_EQ(json["mayRead"], true);
    EXPECT_TRUE(json.isMember("refusedBy") && json["refusedBy"].isNull());
}

TEST_F(CheckTest, TellsProgramsNo) {
    Permit("closed/inner", 0700);
    const Json::Value json = RunForJson({"check", "/docs/closed/inner/b.docx", "--user", "ann"});
    EXPECT_EQ(json["exitCode"], 13);
    EXPECT_EQ(json["error"]["kind"], "denied");
    EXPECT_EQ(json["mayRead"], false);
    EXPECT_EQ(json["refusedBy"],
              Parsed(R"({"path":"/volume1/docs/closed/inner","permission":"search"})"));
}

TEST_F(CheckTest, KnowsTheUsersGroups) {
    Permit("a.docx", 0640);
    ASSERT_EQ(chown("/volume1/docs/a.docx", 0, 2100), 0);
    ExpectStatus(RunTool({"check", "/docs/a.docx", "--user", "carl"}), ExitCode::kDone);
    ExpectStatus(RunTool({"check", "/docs/a.docx", "--user", "bob"}), ExitCode::kDenied);
}

TEST_F(CheckTest, KnowsUsersOfADomain) {
    Permit("a.docx", 0600);
    ASSERT_EQ(chown("/volume1/docs/a.docx", 1005, 0), 0);
    const Json::Value json =
        RunForJson({"check", "/docs/a.docx", "--user", "CORP.EXAMPLE.COM\\eve"});
    EXPECT_EQ(json["mayRead"], true);
    EXPECT_EQ(json["user"], "CORP\\eve");
}

TEST_F(CheckTest, AlwaysSaysYesToRoot) {
    Permit("a.docx", 0000);
    ExpectStatus(RunTool({"check", "/docs/a.docx", "--user", "root"}), ExitCode::kDone);
}

TEST_F(CheckTest, NamesALinkWhoseTargetMayNotBeRead) {
    Permit("a.docx", 0600);
    std::filesystem::create_symlink("a.docx", "/volume1/docs/link.docx");
    const Json::Value json = RunForJson({"check", "/docs/link.docx", "--user", "ann"});
    EXPECT_EQ(json["refusedBy"],
              Parsed(R"({"path":"/volume1/docs/link.docx","permission":"read"})"));
}

TEST_F(CheckTest, RefusesAMissingDocument) {
    std::filesystem::create_symlink("nothing", "/volume1/docs/dangling.docx");
    for (const char* path : {"/docs/none.docx", "/docs/dangling.docx"}) {
        const Outcome outcome = RunTool({"check", path, "--user", "ann"});
        ExpectStatus(outcome, ExitCode::kBadInput);
        EXPECT_THAT(outcome.err, HasSubstr("there is no file /volume1/docs/"));
    }
}

TEST_F(CheckTest, RefusesAnUnknownUser) {
    for (const std::string& user : {std::string("nobody-such"), std::string("CORP\\nobody"),
                                    std::string(), std::string(600, 'a'), std::string("\xff")}) {
        const Outcome outcome = RunTool({"check", "/docs/a.docx", "--user", user});
        ExpectStatus(outcome, ExitCode::kBadInput);
        EXPECT_THAT(outcome.err, HasSubstr("the server knows no such user"));
    }
}

TEST_F(CheckTest, NeedsAUser) {
    ExpectStatus(RunTool({"check", "/docs/a.docx"}), ExitCode::kUsage);
}

TEST_F(CheckTest, NeedsRoot) {
    const Outcome outcome = RunningTool({"check", "/docs/a.docx", "--user", "ann"}, 1001).Wait();
    ExpectStatus(outcome, ExitCode::kFailed);
    EXPECT_THAT(outcome.err, HasSubstr("only root can act as somebody else"));
}

TEST_F(CheckTest, GivesValidJsonForNamesThatAreNoUtf8) {
    MakeDocument("\xff.docx");
    Permit("\xff.docx", 0600);
    const Json::Value json = RunForJson({"check", "/docs/\xff.docx", "--user", "ann"});
    EXPECT_EQ(json["refusedBy"]["permission"], "read");
}

TEST_F(CheckTest, NamesTheSettingThatForbidsIt) {
    Share("valid users = bob");
    const Outcome outcome = RunTool({"check", "/docs/a.docx", "--user", "ann"});
    ExpectStatus(outcome, ExitCode::kDenied);
    EXPECT_EQ(
        outcome.err,
        "vellumo: ann may not read /docs/a.docx: the share's 'valid users' does not name ann\n"
        "  'testparm -s' shows the settings of the share.\n");
    EXPECT_EQ(outcome.out, "");
    ExpectStatus(RunTool({"check", "/docs/a.docx", "--user", "bob"}), ExitCode::kDone);
}

TEST_F(CheckTest, TellsProgramsTheSettingThatForbidsIt) {
    const std::pair<const char*, const char*> settings[] = {
        {"available = no", "available"},       {"invalid users = @staff2", "invalid users"},
        {"valid users = +bob", "valid users"}, {"veto files = /*.docx/", "veto files"},
        {"hosts deny = 10.", "hosts allow"},
    };
    for (const auto& [setting, name] : settings) {
        Share(setting);
        const Json::Value json =
            RunForJson({"check", "/docs/a.docx", "--user", "ann", "--address", "10.0.0.1"});
        EXPECT_EQ(json["exitCode"], 13) << setting;
        EXPECT_EQ(json["error"]["kind"], "denied") << setting;
        EXPECT_EQ(json["mayRead"], false) << setting;
        EXPECT_EQ(json["refusedBy"]["share"], "docs") << setting;
        EXPECT_EQ(json["refusedBy"]["setting"], name) << setting;
    }
}

TEST_F(CheckTest, AsksForHostsOnlyWithAnAddress) {
    Share("hosts allow = 10.");
    ExpectStatus(RunTool({"check", "/docs/a.docx", "--user", "ann"}), ExitCode::kDone);
    ExpectStatus(RunTool({"check", "/docs/a.docx", "--user", "ann", "--address", "10.0.0.1"}),
                 ExitCode::kDone);
    const Outcome outcome =
        RunTool({"check", "/docs/a.docx", "--user", "ann", "--address", "nonsense"});
    ExpectStatus(outcome, ExitCode::kDenied);
    EXPECT_THAT(outcome.err, HasSubstr("'nonsense' is not the address of a host"));
}

TEST_F(CheckTest, NamesTheSectionOfTheHomes) {
    Share("available = no");
    WriteFile("/volume1/homes/ann/a.docx", "content");
    const Json::Value json = RunForJson({"check", "/home/a.docx", "--user", "ann"});
    EXPECT_EQ(json["refusedBy"], Parsed(R"({"share":"homes","setting":"available"})"));
}

TEST_F(CheckTest, AttackALinkOutOfTheShareIsDenied) {
    std::filesystem::create_symlink("/etc/passwd", "/volume1/docs/passwd.docx");
    const Json::Value json = RunForJson({"check", "/docs/passwd.docx", "--user", "ann"});
    EXPECT_EQ(json["exitCode"], 13);
    EXPECT_EQ(json["refusedBy"], Parsed(R"({"share":"docs","setting":"wide links"})"));
    EXPECT_EQ(json["error"]["why"], "a symbolic link in it leads out of /volume1/docs");
}

TEST_F(CheckTest, ALinkInAShareThatFollowsNoneIsDenied) {
    Share("follow symlinks = no");
    std::filesystem::create_symlink("closed", "/volume1/docs/link");
    const Json::Value json = RunForJson({"check", "/docs/link/inner/b.docx", "--user", "ann"});
    EXPECT_EQ(json["refusedBy"], Parsed(R"({"share":"docs","setting":"follow symlinks"})"));
}

TEST_F(CheckTest, AttackAPipeNamedLikeADocumentIsRefused) {
    ASSERT_EQ(mkfifo("/volume1/docs/pipe.docx", 0666), 0);
    const Outcome outcome = RunTool({"check", "/docs/pipe.docx", "--user", "ann"});
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.err, HasSubstr("/volume1/docs/pipe.docx is not a regular file"));
}

TEST_F(CheckTest, AttackOddNamesStayOnOneLine) {
    for (const std::string& name :
         {std::string("line\nbreak.docx"), std::string("quo'te\".docx"), std::string("-r.docx"),
          std::string("\xff.docx"), std::string(250, 'x') + ".docx"}) {
        MakeDocument(name);
        const Outcome yes = RunTool({"check", "/docs/" + name, "--user", "ann"});
        ExpectStatus(yes, ExitCode::kDone);
        EXPECT_EQ(std::count(yes.out.begin(), yes.out.end(), '\n'), 1) << yes.out;
    }
}

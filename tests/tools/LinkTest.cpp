// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "Accounts.h"
#include "Tool.h"
#include "loader/links/Links.h"

using namespace vellumo::test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

class LinkTest : public ToolTest {
protected:
    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        for (const char* file : {"links.db", "links.db-wal", "links.db-shm"}) {
            std::filesystem::remove(std::string("/var/packages/Vellumo/etc/") + file);
        }
        MakeDocument("a.docx");
        MakeDocument("secret.docx");
        chmod("/volume1/docs", 0755);
        chmod("/volume1/docs/a.docx", 0644);
        chmod("/volume1/docs/secret.docx", 0600);
    }

private:
    const Accounts _accounts{SomeAccounts(), SomeGroups()};
};

}  // namespace

TEST_F(LinkTest, MakesListsShowsAndRemovesALink) {
    const Json::Value made =
        RunForJson({"link", "add", "--user", "ann", "--label", "Plans", "--expires", "7d",
                    "--max-views", "3", "--no-download", "/docs/a.docx"})["link"];
    EXPECT_THAT(made["address"].asString(), MatchesRegex("/s/[A-Za-z0-9_-]{22}"));
    EXPECT_EQ(made["owner"], "ann");
    EXPECT_EQ(made["kind"], "file");
    EXPECT_EQ(made["label"], "Plans");
    EXPECT_EQ(made["maxViews"], 3);
    EXPECT_FALSE(made["download"].asBool());
    EXPECT_EQ(made["state"], "open");
    const std::string id = made["id"].asString();
    EXPECT_EQ(RunForJson({"link", "list", "--user", "ann"})["links"][0], made);
    EXPECT_THAT(RunForJson({"link", "list", "--user", "bob"})["links"], IsEmpty());
    EXPECT_EQ(RunForJson({"link", "show", id})["link"], made);
    const Outcome shown = RunTool({"link", "show", id});
    EXPECT_THAT(shown.out, HasSubstr(made["address"].asString()));
    ExpectStatus(RunTool({"link", "remove", id}), ExitCode::kDone);
    ExpectStatus(RunTool({"link", "show", id}), ExitCode::kNotFound);
    ExpectStatus(RunTool({"link", "remove", id}), ExitCode::kNotFound);
    EXPECT_EQ(RunTool({"link"}).out, "There are no links.\n");
}

TEST_F(LinkTest, SharesAFolder) {
    EXPECT_EQ(RunForJson({"link", "add", "--user", "bob", "/docs"})["link"]["kind"], "folder");
}

TEST_F(LinkTest, SharesNothingThatTheOwnerMayNotRead) {
    ASSERT_EQ(symlink("a.docx", "/volume1/docs/link.docx"), 0);
    for (const char* path : {"/docs/secret.docx", "/docs/nothing.docx", "/docs/link.docx"}) {
        ExpectStatus(RunTool({"link", "add", "--user", "ann", path}), ExitCode::kDenied);
    }
    for (const char* path :
         {"/docs/../docs/a.docx", "docs/a.docx", "/docs//a.docx", "/nothing/a"}) {
        ExpectStatus(RunTool({"link", "add", "--user", "ann", path}), ExitCode::kBadInput);
    }
    ExpectStatus(RunTool({"link", "add", "--user", "nobody-knows", "/docs/a.docx"}),
                 ExitCode::kBadInput);
    EXPECT_THAT(RunForJson({"link"})["links"], IsEmpty());
}

TEST_F(LinkTest, GivesRootNoLink) {
    ExpectStatus(RunTool({"link", "add", "--user", "root", "/docs/a.docx"}), ExitCode::kUsage);
}

TEST_F(LinkTest, TakesAPasswordFromTheStandardInput) {
    const auto add = [](const std::string& input) {
        return RunProgram({"bash", "-c",
                           "printf '" + input +
                               "' | " VELLUMO_TOOL
                               " link add --user ann --password-stdin /docs/a.docx"})
            .status;
    };
    EXPECT_EQ(add("open it\\n"), 0);
    EXPECT_EQ(add("\\n"), static_cast<int>(ExitCode::kUsage));
    const vellumo::loader::LinkDatabase database;
    const vellumo::loader::LinkKey key;
    const auto links = vellumo::loader::Links(database, key).List();
    ASSERT_EQ(links.size(), 1U);
    EXPECT_TRUE(vellumo::loader::IsPassword(links[0].passwordHash, "open it"));
}

TEST_F(LinkTest, RefusesAnEndThatIsNotToCome) {
    for (const char* end : {"soon", "2020-01-01", "0d", "-1d"}) {
        ExpectStatus(RunTool({"link", "add", "--user", "ann", "--expires", end, "/docs/a.docx"}),
                     ExitCode::kUsage);
    }
    const Json::Value made =
        RunForJson({"link", "add", "--user", "ann", "--expires", "2100-01-01", "/docs/a.docx"});
    EXPECT_TRUE(made["ok"].asBool()) << made;
}

TEST_F(LinkTest, NeedsRoot) {
    RunningTool tool({"link", "list"}, 65534);
    ExpectStatus(tool.Wait(), ExitCode::kNotPrepared);
}

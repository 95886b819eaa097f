// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <filesystem>

#include "StateFile.h"
#include "Tool.h"
#include "loader/settings/SettingTable.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::HasSubstr;

namespace {

const std::string kFile = NAVO::VELLUMO::SZF_INDEX_CONFIG;

class SettingsCommandTest : public ToolTest {
protected:
    SettingsCommandTest() { std::filesystem::remove(kFile); }
    ~SettingsCommandTest() override { std::filesystem::remove(kFile); }

    static void WriteSettings(const std::string& text) {
        WriteFile(kFile, text);
        chmod(kFile.c_str(), 0644);
    }
};

}  // namespace

TEST_F(SettingsCommandTest, ListsEverySettingWithValueDefaultAndHelp) {
    WriteSettings(R"({"cacheLimit": "5%"})");
    const Outcome outcome = RunTool({"settings"});
    ExpectStatus(outcome, ExitCode::kDone);
    for (const auto& entry : vellumo::loader::SettingEntries()) {
        EXPECT_THAT(outcome.out,
                    AllOf(HasSubstr(std::string(entry.name) + " = "), HasSubstr(entry.help)));
    }
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("cacheLimit = 5% (default: 1G)\n"),
                      HasSubstr("workers = 0 (default)\n"), HasSubstr("exclude = [] (default)\n")));
}

TEST_F(SettingsCommandTest, ListsThemAsJson) {
    WriteSettings(R"({"workers": 3})");
    const Json::Value json = RunForJson({"settings"});
    EXPECT_EQ(json["file"], kFile);
    EXPECT_EQ(json["problems"].size(), 0U);
    EXPECT_EQ(json["settings"].size(), vellumo::loader::SettingEntries().size());
    EXPECT_EQ(json["settings"][1]["name"], "workers");
    EXPECT_EQ(json["settings"][1]["value"], 3);
    EXPECT_EQ(json["settings"][1]["default"], 0);
    EXPECT_EQ(json["settings"][1]["isSet"], true);
    EXPECT_EQ(json["settings"][0]["isSet"], false);
}

TEST_F(SettingsCommandTest, GetsSetsAndUnsetsOne) {
    ExpectStatus(RunTool({"settings", "set", "cacheLimit", "500M"}), ExitCode::kDone);
    EXPECT_EQ(RunTool({"settings", "get", "cacheLimit"}).out, "500M\n");
    ExpectStatus(RunTool({"settings", "set", "exclude", "*.csv", "tmp"}), ExitCode::kDone);
    EXPECT_EQ(RunTool({"settings", "get", "exclude"}).out, "*.csv\ntmp\n");
    EXPECT_EQ(RunForJson({"settings", "get", "exclude"})["value"], Parsed(R"(["*.csv","tmp"])"));
    EXPECT_EQ(RunForJson({"settings", "unset", "cacheLimit"})["wasSet"], true);
    EXPECT_EQ(RunForJson({"settings", "unset", "cacheLimit"})["wasSet"], false);
    EXPECT_EQ(RunTool({"settings", "get", "cacheLimit"}).out, "1G\n");
    EXPECT_EQ(ReadFile(kFile), "{\n    \"exclude\": [\"*.csv\",\"tmp\"]\n}\n");
}

TEST_F(SettingsCommandTest, RefusesUnknownNamesAndWrongValues) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"settings", "get", "limit"},
          {"settings", "set", "limit", "1"},
          {"settings", "unset", "limit"},
          {"settings", "set", "workers", "many"},
          {"settings", "set", "workers", "1", "2"},
          {"settings", "set", "watch", "sometimes"},
          {"settings", "set", "cacheLimit", ""}}) {
        ExpectStatus(RunTool(command), ExitCode::kUsage);
    }
    EXPECT_FALSE(std::filesystem::exists(kFile));
    EXPECT_THAT(RunTool({"settings", "set", "watch", "sometimes"}).err,
                HasSubstr("auto, fanotify, inotify, scan or off"));
}

TEST_F(SettingsCommandTest, ReportsWhatIsWrongWithTheFile) {
    WriteSettings("{\n\"worker\": 3,\n\"settle\": 4, \"workers\": 2}");
    const Outcome outcome = RunTool({"settings"});
    ExpectStatus(outcome, ExitCode::kSettings);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("'worker'"), HasSubstr("line 2"),
                                   HasSubstr("'settle'"), HasSubstr("line 3")));
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("workers = 2"), HasSubstr("settle = 10s (default)")));
    EXPECT_EQ(RunForJson({"settings"})["problems"].size(), 2U);
}

TEST_F(SettingsCommandTest, RemovesAMemberThatIsNoSetting) {
    WriteSettings(R"({"worker": 3})");
    ExpectStatus(RunTool({"settings", "unset", "worker"}), ExitCode::kDone);
    ExpectStatus(RunTool({"settings"}), ExitCode::kDone);
}

TEST_F(SettingsCommandTest, RefusesToChangeAFileThatOthersMayWriteTo) {
    WriteSettings("{}");
    ASSERT_EQ(chmod(kFile.c_str(), 0666), 0);
    const Outcome outcome = RunTool({"settings", "set", "workers", "1"});
    ExpectStatus(outcome, ExitCode::kSettings);
    EXPECT_THAT(outcome.err, HasSubstr("chmod go-w"));
    EXPECT_EQ(ReadFile(kFile), "{}");
}

// SPDX-License-Identifier: Apache-2.0
#include "loader/settings/Settings.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "Device.h"
#include "vellumo/Constants.h"

using namespace std::chrono_literals;
using namespace vellumo::loader;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const std::string kFile = NAVO::VELLUMO::SZF_INDEX_CONFIG;

class SettingsTest : public vellumo::test::DeviceTest {
protected:
    SettingsTest() { std::filesystem::remove(kFile); }
    ~SettingsTest() override { std::filesystem::remove(kFile); }

    static Settings Reading(const std::string& text) {
        vellumo::test::WriteFile(kFile, text);
        chmod(kFile.c_str(), 0644);
        return Settings::Read();
    }

    // The only problem of `settings`.
    static Problem OnlyProblem(const Settings& settings) {
        EXPECT_EQ(settings.Problems().size(), 1U);
        return settings.Problems().empty() ? Problem{} : settings.Problems().front();
    }

    static void ExpectDefaults(const Settings& settings) {
        for (const SettingEntry& entry : SettingEntries()) {
            EXPECT_FALSE(settings.IsSet(entry.setting)) << entry.name;
            EXPECT_EQ(settings.Json(entry.setting), DefaultOf(entry)) << entry.name;
        }
    }

    static const SettingEntry& Entry(const char* name) { return *FindSetting(name); }
};

}  // namespace

TEST_F(SettingsTest, EveryDefaultIsAValueOfItsSetting) {
    for (const SettingEntry& entry : SettingEntries()) {
        EXPECT_TRUE(ValueOf(entry, DefaultOf(entry))) << entry.name;
        EXPECT_EQ(FindSetting(entry.name), &EntryOf(entry.setting));
        EXPECT_THAT(entry.help, testing::EndsWith("."));
    }
}

TEST_F(SettingsTest, AreTheDefaultsWithoutAFile) {
    const Settings settings = Settings::Read();
    EXPECT_THAT(settings.Problems(), IsEmpty());
    ExpectDefaults(settings);
    EXPECT_EQ(settings.Limit(Setting::kCacheLimit), (SizeOrShare{1073741824, 0}));
    EXPECT_EQ(settings.Number(Setting::kWorkers), 0);
    EXPECT_EQ(settings.HoursOf(Setting::kNightHours), Hours{});
    EXPECT_EQ(settings.Bytes(Setting::kWorkerMemory), 1073741824);
    EXPECT_EQ(settings.Duration(Setting::kWorkerTime), 30min);
    EXPECT_EQ(settings.Word(Setting::kWatch), "auto");
    EXPECT_EQ(settings.TimeOfDay(Setting::kHousekeeping), 3h);
    EXPECT_THAT(settings.Texts(Setting::kExclude), IsEmpty());
}

TEST_F(SettingsTest, AreTakenFromTheFileWithItsComments) {
    const Settings settings = Reading(R"({
        // half of it
        "cacheLimit": "50%", /* all of it */ "workers": 3,
        "shares": ["docs", "photos"], "nightHours": "", "housekeeping": "23:59"
    })");
    EXPECT_THAT(settings.Problems(), IsEmpty());
    EXPECT_TRUE(settings.IsSet(Setting::kWorkers));
    EXPECT_FALSE(settings.IsSet(Setting::kWatch));
    EXPECT_EQ(settings.Limit(Setting::kCacheLimit), (SizeOrShare{0, 50}));
    EXPECT_EQ(settings.Number(Setting::kWorkers), 3);
    EXPECT_THAT(settings.Texts(Setting::kShares), ElementsAre("docs", "photos"));
    EXPECT_TRUE(settings.HoursOf(Setting::kNightHours).Include(12h));
    EXPECT_EQ(settings.TimeOfDay(Setting::kHousekeeping), 23h + 59min);
}

TEST_F(SettingsTest, AnUnknownMemberIsNamedWithItsLineAndTheOthersHold) {
    const Settings settings = Reading("{\n  \"workers\": 2,\n\n  \"workerz\": 3\n}");
    EXPECT_EQ(OnlyProblem(settings).reason, Reason::kUnknownSetting);
    EXPECT_THAT(OnlyProblem(settings).what, HasSubstr("'workerz'"));
    EXPECT_THAT(OnlyProblem(settings).why, HasSubstr("line 4 of " + kFile));
    EXPECT_EQ(settings.Number(Setting::kWorkers), 2);
}

TEST_F(SettingsTest, AValueOfAnotherKindIsNamedWithItsLineAndTheDefaultHolds) {
    const Settings settings = Reading("{\n  \"settle\": \"soon\",\n  \"workers\": 2 }");
    EXPECT_EQ(OnlyProblem(settings).reason, Reason::kBadSetting);
    EXPECT_THAT(OnlyProblem(settings).what, HasSubstr("'settle'"));
    EXPECT_THAT(OnlyProblem(settings).why, AllOf(HasSubstr("line 2 of"), HasSubstr("30m")));
    EXPECT_FALSE(settings.IsSet(Setting::kSettle));
    EXPECT_EQ(settings.Duration(Setting::kSettle), 10s);
    EXPECT_EQ(settings.Number(Setting::kWorkers), 2);
}

TEST_F(SettingsTest, NeverCrashOnWhatIsNoSettingsFile) {
    for (const char* text : {"", "[]", "3", "{\"workers\": 1", "{\"workers\": 1} x", "\xff\xfe",
                             "{\"workers\": 1, \"workers\": 2}", "{\"workers\": 1,}", "null"}) {
        const Settings settings = Reading(text);
        EXPECT_EQ(OnlyProblem(settings).reason, Reason::kSettingsDamaged) << text;
        EXPECT_THAT(OnlyProblem(settings).why, HasSubstr(kFile)) << text;
        ExpectDefaults(settings);
    }
    EXPECT_EQ(OnlyProblem(Reading(std::string(100000, '['))).reason, Reason::kSettingsDamaged);
}

TEST_F(SettingsTest, ADamagedFileIsReportedWithTheLine) {
    EXPECT_THAT(OnlyProblem(Reading("{\n  \"workers\": 1\n  \"settle\": \"5s\"\n}")).why,
                HasSubstr("Line 3"));
}

TEST_F(SettingsTest, AFileOfAnotherUserIsRefused) {
    Reading(R"({"workers": 7})");
    ASSERT_EQ(chown(kFile.c_str(), 1234, 0), 0);
    const Settings settings = Settings::Read();
    EXPECT_EQ(OnlyProblem(settings).reason, Reason::kSettingsUnsafe);
    EXPECT_THAT(OnlyProblem(settings).why, HasSubstr("belongs to the user 1234"));
    ExpectDefaults(settings);
}

TEST_F(SettingsTest, AFileThatOthersMayWriteToIsRefused) {
    for (const mode_t mode : {0664U, 0646U}) {
        Reading(R"({"workers": 7})");
        ASSERT_EQ(chmod(kFile.c_str(), mode), 0);
        const Settings settings = Settings::Read();
        EXPECT_EQ(OnlyProblem(settings).reason, Reason::kSettingsUnsafe) << std::oct << mode;
        EXPECT_THAT(OnlyProblem(settings).next, HasSubstr("chmod go-w " + kFile));
        ExpectDefaults(settings);
    }
}

TEST_F(SettingsTest, AFolderAtItsPlaceIsReported) {
    std::filesystem::create_directory(kFile);
    EXPECT_EQ(OnlyProblem(Settings::Read()).reason, Reason::kSettingsUnreadable);
}

TEST_F(SettingsTest, SetLeavesEverythingElseInTheFile) {
    Reading("// ours\n{\n  \"workers\": 2, // enough\n  \"other\": [1, {}]\n}\n");
    SetSetting(Entry("workers"), 5);
    SetSetting(Entry("cacheLimit"), "5%");
    EXPECT_EQ(vellumo::test::ReadFile(kFile),
              "// ours\n{\n  \"workers\": 5, // enough\n  \"other\": [1, {}],\n"
              "    \"cacheLimit\": \"5%\"\n}\n");
    EXPECT_TRUE(UnsetSetting("other"));
    EXPECT_FALSE(UnsetSetting("other"));
    EXPECT_EQ(vellumo::test::ReadFile(kFile),
              "// ours\n{\n  \"workers\": 5, // enough\n    \"cacheLimit\": \"5%\"\n}\n");
}

TEST_F(SettingsTest, SetChangesAFileThatAnEditorHasBegunWithAByteOrderMark) {
    const std::string mark = "\xEF\xBB\xBF";
    EXPECT_THAT(Reading(mark + "{\"workers\": 2}").Problems(), IsEmpty());
    SetSetting(Entry("workers"), 5);
    EXPECT_EQ(vellumo::test::ReadFile(kFile), mark + "{\"workers\": 5}");
}

TEST_F(SettingsTest, AreRefusedEachForItsValueAndAllForTheFile) {
    const Settings one = Reading(R"({"cacheLimit": "much", "workers": 2})");
    EXPECT_TRUE(one.IsRefused(Setting::kCacheLimit));
    EXPECT_FALSE(one.IsRefused(Setting::kWorkers));
    EXPECT_TRUE(Reading("{").IsRefused(Setting::kWorkers));
    EXPECT_FALSE(Reading("{}").IsRefused(Setting::kCacheLimit));
}

TEST_F(SettingsTest, SetCreatesTheFileReadableForAllAndKeepsItsModeAfterwards) {
    struct stat status {};
    SetSetting(Entry("workers"), 5);
    ASSERT_EQ(stat(kFile.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
    ASSERT_EQ(chmod(kFile.c_str(), 0600), 0);
    SetSetting(Entry("workers"), 6);
    ASSERT_EQ(stat(kFile.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_EQ(Settings::Read().Number(Setting::kWorkers), 6);
}

TEST_F(SettingsTest, SetLeavesADamagedFileAlone) {
    Reading("{ workers: 1 }");
    EXPECT_THROW(SetSetting(Entry("workers"), 5), Failure);
    EXPECT_EQ(vellumo::test::ReadFile(kFile), "{ workers: 1 }");
}

TEST_F(SettingsTest, SetLeavesNoTemporaryFile) {
    SetSetting(Entry("workers"), 5);
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(kFile).parent_path())) {
        EXPECT_THAT(entry.path().string(), testing::Not(HasSubstr("index.json.")));
    }
}

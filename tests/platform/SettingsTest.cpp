// SPDX-License-Identifier: Apache-2.0
#include <navo/settings.h>
#include <unistd.h>

#include <filesystem>

#include "OnDevice.h"
#include "Outcome.h"

using namespace navo::test;

namespace {

constexpr const char* kSettings = "/usr/navo/etc/navo.conf";
constexpr const char* kEnglish = "/usr/navo/etc/strings/enu.ini";
constexpr const char* kGerman = "/usr/navo/etc/strings/ger.ini";

class SettingsOnDevice : public OnDeviceTest {
protected:
    void SetUp() override {
        OnDeviceTest::SetUp();
        if (!IsSkipped()) {
            std::filesystem::remove_all("/usr/navo/etc");
            std::filesystem::create_directories("/usr/navo/etc/strings");
        }
    }
    const NavoConf _settings;
};

}  // namespace

TEST_F(SettingsOnDevice, AreReadFromTheirLines) {
    WriteFile(kSettings,
              "# a comment\n"
              "plain=yes\n"
              "quoted=\"yes\"\n"
              "blanks = \" two  \"  \n"
              "twice=\"first\"\ntwice=\"second\"\n"
              "empty=\"\"\n"
              "no equals sign\n"
              "semicolon=\"a ; b\"\n"
              "last=\"without a line end\"");
    EXPECT_EQ(_settings.Info("plain", "no"), "yes");
    EXPECT_EQ(_settings.Info("QUOTED", "no"), "yes");
    EXPECT_EQ(_settings.Info("blanks", "no"), " two  ");
    EXPECT_EQ(_settings.Info("twice", "no"), "second");
    EXPECT_EQ(_settings.Info("empty", "no"), "");
    EXPECT_EQ(_settings.Info("semicolon", "no"), "a ; b");
    EXPECT_EQ(_settings.Info("last", "no"), "without a line end");
    EXPECT_EQ(_settings.Info("missing", "no"), "no");
    EXPECT_EQ(_settings.Info("", "no"), "no");
}

TEST_F(SettingsOnDevice, AreReadAnewByEachQuestion) {
    WriteFile(kSettings, "key=\"old\"\n");
    EXPECT_EQ(_settings.Info("key", "no"), "old");
    WriteFile(kSettings, "key=\"new\"\n");
    EXPECT_EQ(_settings.Info("key", "no"), "new");
}

TEST_F(SettingsOnDevice, ThatAreMissingAreTheDefaultsWithoutAnError) {
    ExpectSuccess([&] { return _settings.Info("key", "no"); }, std::string("no"));
}

TEST_F(SettingsOnDevice, ThatCannotBeReadAreTheDefaultsWithAnError) {
    WriteFile(kSettings, std::string("key=\"yes\"\n\0", 11));
    ExpectFailure([&] { return _settings.Info("key", "no"); }, std::string("no"),
                  {NAVO_ERR_CONFIG, EINVAL, "settings.cpp"});
}

TEST_F(SettingsOnDevice, TextsKeepTheBlanksInsideTheirQuotes) {
    WriteFile(kEnglish,
              "download_log_desc=\"of no section\"\n"
              "[other]\ndownload_log_desc=\"wrong\"\n"
              "[sharing]\ndownload_log_desc=\"viewed: \"\n");
    EXPECT_EQ(StringBundle(3, "sharing").Text("download_log_desc", ""), "viewed: ");
    EXPECT_EQ(StringBundle(3, "sharing").Text("missing", "default"), "default");
    EXPECT_EQ(StringBundle(3, "nowhere").Text("download_log_desc", "default"), "default");
    EXPECT_EQ(StringBundle(3, nullptr).Text("download_log_desc", "default"), "default");
}

TEST_F(SettingsOnDevice, TextsMayBeInOneOfSeveralSections) {
    WriteFile(kEnglish, "[one]\na=\"1\"\n[two]\na=\"2\"\nb=\"2\"\n");
    const StringBundle texts(3, "one", nullptr, "two");
    EXPECT_EQ(texts.Text("a", ""), "1");
    EXPECT_EQ(texts.Text("b", ""), "2");
}

TEST_F(SettingsOnDevice, TextsAreInTheSettingsLanguageElseInEnglish) {
    WriteFile(kEnglish, "[s]\na=\"yes\"\nb=\"no\"\n");
    WriteFile(kGerman, "[s]\na=\"ja\"\n");
    const StringBundle texts(3, "s");
    EXPECT_EQ(texts.Text("a", ""), "yes");
    WriteFile(kSettings, "language=\"ger\"\n");
    EXPECT_EQ(texts.Text("a", ""), "ja");
    EXPECT_EQ(texts.Text("b", ""), "no");
    WriteFile(kSettings, "language=\"fre\"\n");
    ExpectSuccess([&] { return texts.Text("a", ""); }, std::string("yes"));
}

TEST_F(SettingsOnDevice, LanguageCannotLeadOutOfTheFolder) {
    WriteFile("/usr/navo/etc/evil.ini", "[s]\na=\"evil\"\n");
    WriteFile(kEnglish, "[s]\na=\"yes\"\n");
    for (const char* language : {"../evil", "", ".", "/usr/navo/etc/evil", "enu.ini"}) {
        WriteFile(kSettings, std::string("language=\"") + language + "\"\n");
        EXPECT_EQ(StringBundle(3, "s").Text("a", ""), "yes") << language;
    }
}

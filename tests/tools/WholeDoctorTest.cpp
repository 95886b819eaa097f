// SPDX-License-Identifier: Apache-2.0
// vellumo doctor: what it adds to the doctor of the pool.
#include <sys/stat.h>

#include <filesystem>

#include "StateFile.h"
#include "Tool.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string kSettings = NAVO::VELLUMO::SZF_INDEX_CONFIG;

class WholeDoctorTest : public ToolTest {
protected:
    // An engine that answers, and none of whose tools works: the pool's own checks end soon.
    WholeDoctorTest() {
        InstallDocker("[ \"$1\" = --version ] && exit 0\n[ \"$3\" = true ] && exit 0\nexit 1\n");
        std::filesystem::remove(kSettings);
    }
    ~WholeDoctorTest() override { std::filesystem::remove(kSettings); }

    // What the doctor says of a subject: "ok: DETAIL", or "FAILED: DETAIL | REMEDY".
    static std::string Says(const Json::Value& report, const std::string& subject) {
        for (const Json::Value& finding : report["findings"]) {
            if (finding["subject"] == subject) {
                const std::string detail = finding["detail"].asString();
                return finding["ok"].asBool()
                           ? "ok: " + detail
                           : "FAILED: " + detail + " | " + finding["remedy"].asString();
            }
        }
        return "nothing";
    }

    static void WriteSettings(const std::string& text) {
        WriteFile(kSettings, text);
        chmod(kSettings.c_str(), 0600);
    }
};

}  // namespace

TEST_F(WholeDoctorTest, LooksAtEverything) {
    const Json::Value report = RunForJson({"doctor"});
    EXPECT_THAT(Says(report, "settings"), HasSubstr("ok: "));
    EXPECT_THAT(Says(report, "state folder"), AllOf(HasSubstr("ok: "), HasSubstr(" free")));
    EXPECT_THAT(Says(report, "engine"), HasSubstr("ok: "));
    EXPECT_THAT(Says(report, "soffice"), HasSubstr("FAILED: "));
    EXPECT_EQ(Says(report, "queue"), "ok: 0 tasks in it");
    EXPECT_THAT(Says(report, "cache"), HasSubstr("ok: 0 MiB of 1024 MiB used, "));
    EXPECT_THAT(Says(report, "daemon"), AllOf(HasSubstr("FAILED: it does not run"),
                                              HasSubstr("systemctl enable --now navovellumod")));
}

TEST_F(WholeDoctorTest, NamesTheFirstThingToDoAlone) {
    WriteSettings(R"({"workers": "many"})");
    const Outcome outcome = RunTool({"doctor"});
    ExpectStatus(outcome, ExitCode::kFailed);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("FAILED  settings: "), HasSubstr("FAILED  daemon: ")));
    const std::string last = outcome.out.substr(outcome.out.rfind("Do this first"));
    EXPECT_THAT(last, HasSubstr("Do this first (settings): "));
    const Json::Value report = RunForJson({"doctor"});
    EXPECT_EQ(report["exitCode"], 1);
    EXPECT_THAT(report["error"]["why"].asString(), HasSubstr("settings: "));
    EXPECT_NE(report["error"]["next"].asString(), "");
}

TEST_F(WholeDoctorTest, NamesALimitOfTheCacheThatIsLargerThanTheDisk) {
    WriteSettings(R"({"cacheLimit": "9000T"})");
    EXPECT_THAT(Says(RunForJson({"doctor"}), "cache"),
                AllOf(HasSubstr("FAILED: the setting cacheLimit allows more"),
                      HasSubstr("vellumo settings set cacheLimit ")));
}

TEST_F(WholeDoctorTest, CountsTheTasksOfTheQueue) {
    RunTool({"queue", "add", "/docs/a", "/docs/b"});
    EXPECT_EQ(Says(RunForJson({"doctor"}), "queue"), "ok: 2 tasks in it");
}

TEST_F(WholeDoctorTest, NamesADamagedQueue) {
    WriteFile(NAVO::VELLUMO::SZF_THUMB_DB_PATH, std::string(5000, '?'));
    EXPECT_THAT(Says(RunForJson({"doctor"}), "queue"),
                AllOf(HasSubstr("FAILED: "), HasSubstr("move it away")));
    std::filesystem::remove(NAVO::VELLUMO::SZF_THUMB_DB_PATH);
}

TEST_F(WholeDoctorTest, NamesAStateFolderThatOthersMayEnter) {
    const std::string folder = std::filesystem::path(kSettings).parent_path();
    chmod(folder.c_str(), 0755);
    const std::string said = Says(RunForJson({"doctor"}), "state folder");
    chmod(folder.c_str(), 0700);
    EXPECT_THAT(said, AllOf(HasSubstr("FAILED: others than root may enter"),
                            HasSubstr("chmod 700 " + folder)));
}

TEST_F(WholeDoctorTest, KeepsNoProductOfItsOwnDocuments) {
    UseEmbeddedEngine();
    EXPECT_THAT(Says(RunForJson({"doctor"}), "convert"), HasSubstr("ok: converts brochure.pdf"));
    EXPECT_EQ(RunProgram({"find", "/volume1/@navoea", "-name", "NAVODOC_THUMB*"}).output, "");
}

TEST_F(WholeDoctorTest, LeavesNothingBehind) {
    RunTool({"doctor"});
    EXPECT_FALSE(std::filesystem::exists(kSettings));
    ExpectPoolIdle();
    ExpectScratchEmpty();
}

// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <filesystem>

#include "StateFile.h"
#include "Tool.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

// An engine whose containers answer, and whose tools do what `tools` says.
void InstallEngine(const std::string& tools) {
    InstallDocker(
        "[ \"$1\" = --version ] && { echo 'Docker version 99'; exit 0; }\n"
        "[ \"$3\" = true ] && exit 0\n" +
        tools + "\n");
}

constexpr const char* kOneIsUnhealthy =
    "[ \"$1\" = inspect ] || exit 1\n"
    "[ \"${!#}\" = navo1 ] && echo unhealthy || echo healthy";

class DoctorTest : public ToolTest {
protected:
    // What the doctor says of a subject: "ok", or the detail and the remedy.
    static std::string Says(const Json::Value& report, const std::string& subject) {
        for (const Json::Value& finding : report["findings"]) {
            if (finding["subject"] == subject) {
                return finding["ok"].asBool()
                           ? "ok"
                           : finding["detail"].asString() + " | " + finding["remedy"].asString();
            }
        }
        return "nothing";
    }
};

}  // namespace

TEST_F(DoctorTest, FindsTheEmbeddedEngineSound) {
    UseEmbeddedEngine();
    const Outcome outcome = RunTool({"pool", "doctor"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("ok      engine: vellumo-engine"), HasSubstr("ok      navo2:"),
                      HasSubstr("ok      soffice: converts report.odt"),
                      HasSubstr("ok      ebook-meta: converts book.epub"),
                      HasSubstr("Everything is sound."), Not(HasSubstr("FAILED"))));
    ExpectScratchEmpty();
    ExpectPoolIdle();
    EXPECT_THAT(Names("/volume1/docker/@tmp/Vellumo"), ElementsAre("@tmp"))
        << "the doctor's own documents are gone";
    EXPECT_THAT(Names("/volume1/@navoea/docker/@@tmp/Vellumo"), ElementsAre("@@tmp"))
        << "and what was kept of them";
}

TEST_F(DoctorTest, NamesEachToolThatFails) {
    InstallEngine("echo 'timeout: no such program' >&2; exit 127");
    const Json::Value report = RunForJson({"pool", "doctor"});
    EXPECT_EQ(report["error"]["kind"], "pool");
    EXPECT_EQ(Says(report, "navo1"), "ok");
    EXPECT_THAT(Says(report, "soffice"),
                AllOf(HasSubstr("made no usable product"), HasSubstr("no such program"),
                      HasSubstr("libreoffice-writer")));
    EXPECT_THAT(Says(report, "ebook-meta"), HasSubstr("calibre"));
    EXPECT_THAT(RunTool({"pool", "doctor"}).out, HasSubstr("7 things to mend"));
}

TEST_F(DoctorTest, TakesNoOtherFileForAProduct) {
    InstallEngine(
        "for word; do case $word in /Vellumo/@tmp/target/*) "
        "echo 'this is no PDF at all' >\"/volume1/docker/@tmp$word\";; esac; done");
    EXPECT_THAT(Says(RunForJson({"pool", "doctor"}), "pdftk"), Not("ok"));
}

TEST_F(DoctorTest, NamesAContainerThatDoesNotAnswer) {
    InstallDocker(
        "[ \"$1\" = --version ] && exit 0\n"
        "[ \"$2\" = navo1 ] && { echo 'no such container: navo1' >&2; exit 1; }\n"
        "[ \"$3\" = true ]\n");
    const Json::Value report = RunForJson({"pool", "doctor"});
    EXPECT_THAT(Says(report, "navo1"), AllOf(HasSubstr("no such container: navo1"),
                                             HasSubstr("vellumo pool remove navo1")));
    EXPECT_EQ(Says(report, "navo2"), "ok");
}

TEST_F(DoctorTest, NamesAContainerThatIsUnhealthy) {
    InstallEngine(kOneIsUnhealthy);
    const Json::Value report = RunForJson({"pool", "doctor"});
    EXPECT_THAT(Says(report, "navo1"),
                AllOf(HasSubstr("its health check fails"), HasSubstr("docker restart navo1")));
    EXPECT_EQ(Says(report, "navo2"), "ok");
}

TEST_F(DoctorTest, NamesACountThatACrashHasLeft) {
    InstallEngine("exit 1");
    WriteState(R"({"navo1":{"using":0},"navo2":{"using":0},"navo3":{"using":1}})");
    EXPECT_THAT(RunTool({"pool", "doctor"}).out,
                HasSubstr("navo3: counts as busy, and no command runs in it"));
}

TEST_F(DoctorTest, StopsWhereNothingCanBeTried) {
    std::filesystem::remove("/device/bin/docker");
    const Json::Value report = RunForJson({"pool", "doctor"});
    EXPECT_THAT(Says(report, "server"), HasSubstr("no container engine"));
    EXPECT_EQ(Says(report, "soffice"), "nothing");
}

TEST_F(DoctorTest, AsksForASecondContainer) {
    InstallEngine("exit 1");
    WriteState(R"({"navo1":{"using":0}})");
    EXPECT_THAT(Says(RunForJson({"pool", "doctor"}), "pool"), HasSubstr("vellumo pool up"));
}

TEST_F(DoctorTest, NamesADamagedIndex) {
    InstallEngine("exit 1");
    WriteFile(NAVO::VELLUMO::SZF_CACHE_DB_PATH, std::string(5000, '?'));
    EXPECT_THAT(Says(RunForJson({"pool", "doctor"}), "index of the cache"),
                HasSubstr("may be removed"));
}

TEST_F(DoctorTest, StatusShowsTheLoadOfEachContainer) {
    MakeDocument("a.docx");
    InstallDocker(
        "[ \"$1\" = --version ] && { echo 'Docker version 99'; exit 0; }\n"
        "[ \"$1\" = stats ] && { echo '77MiB / 1.5GiB'; exit 0; }\n"
        "[ \"$3\" = true ] && exit 0\n"
        "[ -e /device/docker-calls ] && exit 0\n"  // the tool's end
        "echo x >/device/docker-calls; sleep 30\n");
    RunningTool conversion({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    const Json::Value report = RunForJson({"pool", "status"});
    EXPECT_EQ(report["engine"], "Docker version 99");
    const Json::Value& busy = report["containers"][0];
    EXPECT_EQ(busy["name"], "navo1");
    EXPECT_EQ(busy["using"], 1);
    EXPECT_EQ(busy["memory"], "77MiB / 1.5GiB");
    EXPECT_TRUE(busy["answers"].asBool());
    conversion.Signal(SIGINT);
    conversion.Wait();
}

TEST_F(DoctorTest, StatusEndsInFailureWhenAContainerDoesNotAnswer) {
    InstallDocker("[ \"$2\" = navo1 ] && { echo 'is not running' >&2; exit 1; }\nexit 0\n");
    const Outcome outcome = RunTool({"pool", "status"});
    ExpectStatus(outcome, ExitCode::kPool);
    EXPECT_THAT(outcome.out, HasSubstr("does not answer: is not running"));
    EXPECT_THAT(outcome.err, HasSubstr("vellumo pool doctor"));
}

TEST_F(DoctorTest, TellsWhyEachDocumentGetsAnOfficeOfItsOwn) {
    InstallEngine(
        "[ \"$4\" = state ] || exit 1\n"
        "[ $2 = navo1 ] && echo 'warm, documents 3' || { echo 'little memory'; exit 78; }");
    EXPECT_THAT(RunTool({"pool", "doctor"}).out,
                AllOf(HasSubstr("navo1: answers\n"),
                      HasSubstr("navo2: answers, but each document gets an office of its own\n"
                                "        That takes longer. The reason: little memory")));
}

TEST_F(DoctorTest, StatusEndsInFailureWhenAContainerIsUnhealthy) {
    InstallEngine(kOneIsUnhealthy);
    const Outcome outcome = RunTool({"pool", "status"});
    ExpectStatus(outcome, ExitCode::kPool);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("answers, unhealthy"), HasSubstr("answers, healthy")));
    EXPECT_THAT(outcome.err, HasSubstr("1 container unhealthy"));
}

TEST_F(DoctorTest, StatusOfTheEmbeddedEngineNamesTheToolAndItsMemory) {
    UseEmbeddedEngine();
    std::filesystem::copy_file(std::string(VELLUMO_TEST_SAMPLES) + "/book.epub",
                               "/volume1/docs/book.epub");
    RunningTool conversion({"pdf", "/docs/book.epub"});
    Json::Value container;
    EXPECT_TRUE(ComesTrue([&container] {
        const Json::Value report = RunForJson({"pool", "status"});
        container = report["containers"][0];
        return !container["running"].empty();
    }));
    EXPECT_THAT(container["running"][0].asString(), HasSubstr("ebook-convert /Vellumo/@tmp/"));
    EXPECT_THAT(container["memory"].asString(), testing::MatchesRegex("[0-9]+ MiB"));
    ExpectStatus(conversion.Wait(), ExitCode::kDone);
}

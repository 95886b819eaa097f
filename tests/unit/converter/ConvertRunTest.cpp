// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <syslog.h>

#include "Device.h"
#include "PlatformDouble.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace NAVO::VELLUMO::converter;
using namespace vellumo::test;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr auto kPriority = ContainerPoolManager::PRIORITY_HIGH;
constexpr const char* kDocument = "/volume1/docs/report.docx";
const std::string kScratch = "/volume1/docker/@tmp/Vellumo";
const std::string kAttributes = "/volume1/@navoea/docker/@@tmp/Vellumo/@@tmp/source";
const std::string kEnvironmentFailed =
    "Failed [! CreateConvertEnvironment(originPath, strFileType, _tmpSrcPath, _tmpTgtPath, "
    "IsNeedSameFolder())]";

class ConvertRun : public DeviceTest {
protected:
    ConvertRun() {
        PlatformDouble::Get().Reset();
        WriteFile(kDocument, "the document");
    }
    ~ConvertRun() override { PlatformDouble::Get().Reset(); }

    template <typename Converter>
    int Convert(const std::string& document, const std::string& type = "pdf") {
        Converter converter(kPriority);
        path::Path source;
        source.SetData("realPath", document, true);
        errno = 0;
        return converter.Convert(type, source, _product);
    }
    int ConvertDocument() { return Convert<LibreOfficeConverter>(kDocument); }

    // The texts logged, without whatever errno was about.
    static std::vector<std::string> Failures() {
        std::vector<std::string> texts = SyslogSink::Get().Texts();
        for (std::string& text : texts) {
            text = text.substr(0, text.find(" [err: "));
        }
        return texts;
    }
    static std::string Failed(int line, const std::string& condition) {
        return Logged("Converter", line, "Failed [" + condition + "]");
    }
    static void ExpectNothingLeft() { EXPECT_THAT(ScratchFiles(), IsEmpty()); }

    path::Path _product;
};

}  // namespace

TEST_F(ConvertRun, SofficeProductCarriesTheScratchSourcesName) {
    EXPECT_EQ(ConvertDocument(), 1000);
    const std::string source = DockerCalls().at(0).back();
    ASSERT_THAT(source, MatchesRegex("/Vellumo/@tmp/source/[A-Za-z0-9]{6}\\.docx"));
    const std::string base = source.substr(source.rfind('/') + 1, 6);
    EXPECT_EQ(_product.GetRealPath(), kTargetDir + base + ".pdf");
    EXPECT_THAT(Names(kTargetDir), ElementsAre(base + ".pdf"));
}

TEST_F(ConvertRun, NoTargetFileExistsBeforeSofficeRuns) {
    PlayTool({.productSize = -1});
    std::vector<std::string> seen{"not looked"};
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCExecv") {
            seen = Names(kTargetDir);
        }
        return std::nullopt;
    });
    EXPECT_EQ(ConvertDocument(), 1002);
    EXPECT_THAT(seen, IsEmpty());
}

TEST_F(ConvertRun, OtherToolsGetAReservedTargetOfTheTargetType) {
    WriteFile("/volume1/docs/a.pdf", "%PDF-1.4 content");
    std::vector<std::string> reserved;
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCExecv") {
            reserved = Names(kTargetDir);
        }
        return std::nullopt;
    });
    EXPECT_EQ(Convert<ImageMagickConverter>("/volume1/docs/a.pdf", "png"), 1000);
    EXPECT_THAT(reserved, ElementsAre(MatchesRegex("[A-Za-z0-9]{6}\\.png")));
    EXPECT_EQ(_product.GetRealPath(), kTargetDir + reserved.at(0));
    EXPECT_EQ(ReadFile(_product.GetRealPath()), std::string(100, 'p'));
}

TEST_F(ConvertRun, ToolSeesTheDocumentsContent) {
    PlayTool({.keepSource = true});
    EXPECT_EQ(ConvertDocument(), 1000);
    EXPECT_EQ(ReadFile("/device/seen-source"), "the document");
}

TEST_F(ConvertRun, DocumentStaysAndScratchSourceGoes) {
    EXPECT_EQ(ConvertDocument(), 1000);
    EXPECT_EQ(ReadFile(kDocument), "the document");
    EXPECT_THAT(ScratchFiles(), ElementsAre(StartsWith("target/")));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(ConvertRun, DocumentOfTheSameVolumeIsLinkedNotCopied) {
    struct stat document {};
    struct stat scratch {};
    ASSERT_EQ(stat(kDocument, &document), 0);
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCExecv") {
            stat((kSourceDir + Names(kSourceDir).at(0)).c_str(), &scratch);
        }
        return std::nullopt;
    });
    EXPECT_EQ(ConvertDocument(), 1000);
    EXPECT_EQ(scratch.st_ino, document.st_ino);
    const auto calls = PlatformDouble::Get().CallsOf("NLIBCExecl");
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_THAT(calls[0].arguments,
                ElementsAre("/bin/ln", "187", "-f", kDocument,
                            MatchesRegex(std::string(kSourceDir) + "[A-Za-z0-9]{6}\\.docx")));
}

TEST_F(ConvertRun, DocumentThatCannotBeLinkedIsCopiedWithSharedExtents) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        return call.operation == "NLIBCExecl" && call.arguments[0] == "/bin/ln" ? std::optional(1)
                                                                                : std::nullopt;
    });
    PlayTool({.keepSource = true});
    EXPECT_EQ(ConvertDocument(), 1000);
    EXPECT_EQ(ReadFile("/device/seen-source"), "the document");
    const auto calls = PlatformDouble::Get().CallsOf("NLIBCExecl");
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_THAT(calls[1].arguments,
                ElementsAre("/bin/cp", "187", "-f", "--reflink=auto", kDocument,
                            MatchesRegex(std::string(kSourceDir) + ".*\\.docx")));
    EXPECT_THAT(ScratchFiles(), ElementsAre(StartsWith("target/")));
}

TEST_F(ConvertRun, CopyThatFailsUnnoticedIsLeftToTheTool) {
    PlatformDouble::Get().Always("NLIBCExecl", 1);
    PlayTool({.exitStatus = 1, .productSize = -1, .keepSource = true});
    EXPECT_EQ(ConvertDocument(), 1002);
    EXPECT_EQ(ReadFile("/device/seen-source"), "");
    ExpectNothingLeft();
}

TEST_F(ConvertRun, DocumentOfAnotherVolumeIsCopiedNeverLinked) {
    WriteFile("/volume2/archive/old.docx", "from volume 2");
    PlayTool({.keepSource = true});
    EXPECT_EQ(Convert<LibreOfficeConverter>("/volume2/archive/old.docx"), 1000);
    EXPECT_EQ(ReadFile("/device/seen-source"), "from volume 2");
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NLIBCExecl"), IsEmpty());
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOFileCopy"), SizeIs(1));
}

TEST_F(ConvertRun, ScratchDirectoriesAreMadeForEverybodyToRead) {
    const mode_t before = umask(077);
    EXPECT_EQ(ConvertDocument(), 1000);
    umask(before);
    for (const char* directory : {kSourceDir, kTargetDir}) {
        struct stat status {};
        ASSERT_EQ(stat(directory, &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0755U) << directory;
    }
    const auto calls = PlatformDouble::Get().CallsOf("NAVOFSMkdirP");
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_THAT(calls[0].arguments, ElementsAre(kSourceDir, "(null)", "1", "4294967295",
                                                "4294967295", std::to_string(0755)));
    EXPECT_EQ(calls[1].arguments[0], kTargetDir);
}

TEST_F(ConvertRun, NameTakenByAProductIsDrawnAgain) {
    MakeDirectory(kTargetDir);
    std::string firstSource;
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        // The first product name asked about is taken.
        if (call.operation != "NLIBCFileExist" || !firstSource.empty()) {
            return std::nullopt;
        }
        firstSource = kSourceDir + Names(kSourceDir).at(0);
        return TRUE;
    });
    EXPECT_EQ(ConvertDocument(), 1000);
    EXPECT_FALSE(Exists(firstSource));
    EXPECT_EQ(PlatformDouble::Get().CallsOf("mkostemps").size(), 2U);
    EXPECT_NE(_product.GetFileName().substr(0, 6),
              firstSource.substr(firstSource.rfind('/') + 1, 6));
    EXPECT_THAT(ScratchFiles(), ElementsAre(StartsWith("target/")));
}

TEST_F(ConvertRun, ProductOfTenBytesIsNone) {
    PlayTool({.productSize = 10});
    EXPECT_EQ(ConvertDocument(), 1002);
    EXPECT_FALSE(_product.HasData("realPath"));
    ExpectNothingLeft();
    PlayTool({.productSize = 11});
    EXPECT_EQ(ConvertDocument(), 1000);
}

TEST_F(ConvertRun, ToolThatWritesNothingFails) {
    PlayTool({.productSize = -1});
    EXPECT_EQ(ConvertDocument(), 1002);
    EXPECT_EQ(Convert<UnoconvConverter>(kDocument), 1002);
    ExpectNothingLeft();
}

TEST_F(ConvertRun, TimeLimitKeepsItsCodeWhateverWasWritten) {
    PlayTool({.exitStatus = 124, .productSize = 500});
    EXPECT_EQ(ConvertDocument(), 1001);
    EXPECT_FALSE(_product.HasData("realPath"));
    ExpectNothingLeft();
}

TEST_F(ConvertRun, ToolThatCannotBeStartedFails) {
    PlatformDouble::Get().Always("NLIBCExecv", -1);
    EXPECT_EQ(ConvertDocument(), 1002);
    ExpectNothingLeft();
}

TEST_F(ConvertRun, DocumentWithoutExtensionMakesNothing) {
    WriteFile("/volume1/docs/README", "text");
    EXPECT_EQ(Convert<LibreOfficeConverter>("/volume1/docs/README"), 1003);
    EXPECT_FALSE(Exists(kScratch));
    EXPECT_THAT(
        SyslogSink::Get().Messages(),
        ElementsAre(LogMessage{LOG_USER | LOG_ERR, Failed(73, "strSrcType.empty()")},
                    LogMessage{LOG_USER | LOG_ERR, Logged("Converter", 179, kEnvironmentFailed)}));
}

TEST_F(ConvertRun, EarlyFailureRemovesNothing) {
    EXPECT_EQ(Convert<LibreOfficeConverter>("/volume1/docs/README"), 1003);
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NLIBCExec"), IsEmpty());
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOEADirPath"), IsEmpty());
}

TEST_F(ConvertRun, WithoutADockerShareFails) {
    WriteFile("/etc/samba/smb.conf", "[docs]\npath = /volume1/docs\n");
    EXPECT_EQ(ConvertDocument(), 1003);
    EXPECT_THAT(Failures(),
                ElementsAre(Logged("utils", 92, "share name: docker"),
                            Failed(74, "! VolumePathGet(SZF_DOCKER_DIR, strDockerVolume)"),
                            Logged("Converter", 179, kEnvironmentFailed)));
}

TEST_F(ConvertRun, SourceDirectoryThatCannotBeMadeFails) {
    PlatformDouble::Get().Always("NAVOFSMkdirP", -1);
    EXPECT_EQ(ConvertDocument(), 1003);
    EXPECT_THAT(
        Failures(),
        ElementsAre(Failed(79,
                           "ERR_SUCCESS != NAVOFSMkdirP(strConvertSourceDir.c_str(), NULL, TRUE, "
                           "UID_ERR, UID_ERR, 0755)"),
                    Logged("Converter", 179, kEnvironmentFailed)));
}

TEST_F(ConvertRun, TargetDirectoryThatCannotBeMadeFails) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        return call.operation == "NAVOFSMkdirP" && call.arguments[0] == kTargetDir
                   ? std::optional(-1)
                   : std::nullopt;
    });
    EXPECT_EQ(ConvertDocument(), 1003);
    EXPECT_THAT(
        Failures(),
        ElementsAre(Failed(80,
                           "ERR_SUCCESS != NAVOFSMkdirP(strConvertTargetDir.c_str(), NULL, TRUE, "
                           "UID_ERR, UID_ERR, 0755)"),
                    Logged("Converter", 179, kEnvironmentFailed)));
}

TEST_F(ConvertRun, WithoutAScratchSourceNameFails) {
    PlatformDouble::Get().Always("mkostemps", -1);
    const std::string mkstemp =
        "utils:62 mkstemp " + std::string(kSourceDir) + "XXXXXX.docx failed";
    const std::string condition =
        "! CreateTmpFileNameWithType(strSrcType, strConvertSourceDir, convertSrcPath)";
    EXPECT_EQ(ConvertDocument(), 1003);
    EXPECT_THAT(Failures(), ElementsAre(mkstemp, Failed(91, condition),
                                        Logged("Converter", 179, kEnvironmentFailed)));
    EXPECT_EQ(Convert<UnoconvConverter>(kDocument), 1003);
    EXPECT_THAT(Failures(), ElementsAre(mkstemp, Failed(83, condition),
                                        Logged("Converter", 179, kEnvironmentFailed)));
    ExpectNothingLeft();
}

TEST_F(ConvertRun, WithoutAScratchTargetNameFailsAndTakesTheSourceAway) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        return call.operation == "mkostemps" && call.arguments[0].starts_with(kTargetDir)
                   ? std::optional(-1)
                   : std::nullopt;
    });
    EXPECT_EQ(Convert<UnoconvConverter>(kDocument), 1003);
    EXPECT_THAT(
        Failures(),
        ElementsAre("utils:62 mkstemp " + std::string(kTargetDir) + "XXXXXX.pdf failed",
                    Failed(84,
                           "! CreateTmpFileNameWithType(strTargetType, strConvertTargetDir, "
                           "convertTgtPath)"),
                    Logged("Converter", 179, kEnvironmentFailed)));
    ExpectNothingLeft();
}

TEST_F(ConvertRun, MissingDocumentFails) {
    EXPECT_EQ(Convert<LibreOfficeConverter>("/volume1/docs/gone.docx"), 1003);
    EXPECT_THAT(
        Failures(),
        ElementsAre(
            Failed(43, "FALSE == NLIBCFileExist(strSourceFile.c_str())"),
            Failed(107, "! CopyOrLinkFile(originPath.GetRealPath(), convertSrcPath.GetRealPath())"),
            Logged("Converter", 179, kEnvironmentFailed)));
    EXPECT_THAT(DockerCalls(), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(ConvertRun, CopyBetweenVolumesThatFailsIsLogged) {
    WriteFile("/volume2/archive/old.docx", "x");
    PlatformDouble::Get().Always("NAVOFileCopy", -1);
    EXPECT_EQ(Convert<LibreOfficeConverter>("/volume2/archive/old.docx"), 1003);
    EXPECT_THAT(
        Failures(),
        ElementsAre(
            Failed(51, "! CopyFile(strSourceFile, strTargetFile)"),
            Failed(107, "! CopyOrLinkFile(originPath.GetRealPath(), convertSrcPath.GetRealPath())"),
            Logged("Converter", 179, kEnvironmentFailed)));
    ExpectNothingLeft();
}

TEST_F(ConvertRun, ScratchCopyThatIsMissingAfterwardsIsLogged) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        return call.operation == "NLIBCFileExist" && call.arguments[0].starts_with(kSourceDir)
                   ? std::optional(FALSE)
                   : std::nullopt;
    });
    EXPECT_EQ(ConvertDocument(), 1003);
    EXPECT_THAT(
        Failures(),
        ElementsAre(
            Failed(54, "FALSE == NLIBCFileExist(strTargetFile.c_str())"),
            Failed(107, "! CopyOrLinkFile(originPath.GetRealPath(), convertSrcPath.GetRealPath())"),
            Logged("Converter", 179, kEnvironmentFailed)));
    ExpectNothingLeft();
}

TEST_F(ConvertRun, ExtendedAttributesOfTheScratchSourceAreRemoved) {
    std::vector<std::string> before;
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCExec") {
            before = Names(kAttributes);
        }
        return std::nullopt;
    });
    EXPECT_EQ(ConvertDocument(), 1000);
    EXPECT_THAT(before, SizeIs(1)) << "there was nothing to remove";
    EXPECT_THAT(Names(kAttributes), IsEmpty());
    const auto calls = PlatformDouble::Get().CallsOf("NLIBCExec");
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_THAT(calls[0].arguments,
                ElementsAre("/usr/bin/rm", "-rf", MatchesRegex(kAttributes + "/@[0-9a-f-]+"),
                            "(null)", "(null)"));
}

TEST_F(ConvertRun, ExtendedAttributesThatCannotBeRemovedAreLoggedOnly) {
    PlatformDouble::Get().Always("NLIBCExec", -1);
    EXPECT_EQ(ConvertDocument(), 1000);
    EXPECT_THAT(Failures(), ElementsAre(Logged("Converter", 194, "remove eadir failed")));
    EXPECT_THAT(ScratchFiles(), ElementsAre(StartsWith("streams/"), StartsWith("target/")));
}

TEST_F(ConvertRun, SameJobWaitingAndRunningIsRefusedWithItsScratchFilesGone) {
    // The job's name is drawn with the scratch name, so both queues are filled when it is known.
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCFileLockTimeByFile" && DockerCalls().empty()) {
            const std::string key =
                "soffice--headless--convert-topdf--outdir/Vellumo/@tmp/target/"
                "/Vellumo/@tmp/source/" +
                Names(kSourceDir).at(0);
            WriteState(R"({"navo1":{},"waitingQueue":[{},{},{")" + key + R"(":true}],)" +
                       R"("runningQueue":{")" + key + R"(":true}})");
        }
        return std::nullopt;
    });
    EXPECT_EQ(ConvertDocument(), 1003);
    EXPECT_THAT(Failures(),
                ElementsAre(Logged("ContainerPoolManager", 85, "Failed [IsJobExist(task)]")));
    ExpectNothingLeft();
}

TEST_F(ConvertRun, SecondCallStartsAfreshAndLeavesTheFirstProductAlone) {
    LibreOfficeConverter converter(kPriority);
    path::Path source;
    source.SetData("realPath", kDocument, true);
    ASSERT_EQ(converter.Convert("pdf", source, _product), 1000);
    const std::string first = _product.GetRealPath();

    path::Path untyped;
    untyped.SetData("realPath", "/volume1/docs/README", true);
    EXPECT_EQ(converter.Convert("pdf", untyped, _product), 1003);
    EXPECT_TRUE(Exists(first));
    EXPECT_EQ(_product.GetRealPath(), first);

    path::Path second;
    EXPECT_EQ(converter.Convert("pdf", source, second), 1000);
    EXPECT_NE(second.GetRealPath(), first);
    EXPECT_TRUE(Exists(first));
}

TEST_F(ConvertRun, NamesWithBlanksQuotesDashesAndOtherBytesAreJustNames) {
    for (const std::string name : {"a b.docx", "it's \"x\".docx", "-rf.docx", "\xd7\x97.docx",
                                   "bad \xff utf8.docx", "$(id);&|.docx", "new\nline.docx"}) {
        WriteFile("/volume1/docs/" + name, "content of " + name);
        PlayTool({.keepSource = true});
        EXPECT_EQ(Convert<LibreOfficeConverter>("/volume1/docs/" + name), 1000) << name;
        EXPECT_EQ(ReadFile("/device/seen-source"), "content of " + name);
    }
    EXPECT_THAT(ScratchFiles(), Each(StartsWith("target/")));
}

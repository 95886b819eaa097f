// SPDX-License-Identifier: Apache-2.0
#include <syslog.h>
#include <unistd.h>

#include "Device.h"
#include "PlatformDouble.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* kDocument = "/volume1/docs/a.docx";

std::string Streams() {
    return EADirectoryOf(kDocument);
}
std::string ThumbnailPath() {
    return StreamOf(kDocument, "NAVODOC_THUMB.png");
}
std::string MarkerPath() {
    return ThumbnailPath() + ".err.0063";
}

class Thumbnail : public DeviceTest {
protected:
    Thumbnail() {
        PlatformDouble::Get().Reset();
        WriteFile(kDocument, "the document");
    }
    ~Thumbnail() override { PlatformDouble::Get().Reset(); }

    static int Make(const std::string& document = kDocument) {
        path::Path source;
        source.SetData("realPath", document, true);
        return converter::ToThumbnail(source);
    }
    // The k-th tool fails, those before it do not.
    static void FailTool(size_t k) {
        PlatformDouble::Get().SetAnswer([=](const PlatformCall& call) -> std::optional<int> {
            const bool isTool = call.operation == "NLIBCExecv";
            return isTool && PlatformDouble::Get().CallsOf("NLIBCExecv").size() == k
                       ? std::optional(-1)
                       : std::nullopt;
        });
    }
    static void ExpectFailureRemembered() {
        EXPECT_TRUE(Exists(MarkerPath()));
        EXPECT_FALSE(Exists(ThumbnailPath()));
        ExpectNothingLeft();
    }
    static void ExpectNothingLeft() {
        EXPECT_THAT(ScratchFiles(), IsEmpty());
        EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
    }
};

}  // namespace

TEST_F(Thumbnail, IsCutAndRenderedAtLowPriorityAndPutBesideTheDocument) {
    EXPECT_EQ(Make(), 1000);
    EXPECT_THAT(Names(Streams()), ElementsAre("NAVODOC_THUMB.png"));
    ASSERT_THAT(DockerCalls(), SizeIs(2));
    EXPECT_EQ(DockerCalls()[0].at(6), "unoconv");
    EXPECT_THAT(DockerCalls()[0], Contains("PageRange=1-1"));
    EXPECT_EQ(DockerCalls()[1].at(6), "convert");
    EXPECT_EQ(DockerCalls()[0].at(2), "navo2");
    EXPECT_EQ(DockerCalls()[1].at(2), "navo2");
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(Thumbnail, IsCutFromTheCachedPdfWhereThereIsOne) {
    MakeEADirectory(kDocument);
    WriteFile(StreamOf(kDocument, "NAVODOC_THUMB.pdf"), "the cached pdf");
    PlayTool({.keepSource = true});
    std::string firstSource;
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCExec" && firstSource.empty()) {
            firstSource = ReadFile("/device/seen-source");
        }
        return std::nullopt;
    });
    EXPECT_EQ(Make(), 1000);
    EXPECT_EQ(DockerCalls().at(0).at(6), "pdftk");
    EXPECT_EQ(firstSource, "the cached pdf");
    EXPECT_TRUE(Exists(StreamOf(kDocument, "NAVODOC_THUMB.pdf")));
}

TEST_F(Thumbnail, MarkerIsThereBeforeTheAttemptAndGoneAfterASuccess) {
    bool marked = false;
    Json::Value running;
    const std::string marker = MarkerPath();
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCExecv") {
            marked = Exists(marker);
            running = State()["runningFiles"];
        }
        return std::nullopt;
    });
    EXPECT_EQ(Make(), 1000);
    EXPECT_TRUE(marked);
    EXPECT_EQ(running, Parsed(R"({"/volume1/docs/a.docx:thumbnail":{}})"));
    EXPECT_FALSE(Exists(MarkerPath()));
}

TEST_F(Thumbnail, FailedCutLeavesTheMarkerAndALaterSuccessRemovesIt) {
    FailTool(1);
    EXPECT_EQ(Make(), 1002);
    ExpectFailureRemembered();
    PlatformDouble::Get().Reset();
    EXPECT_EQ(Make(), 1000);
    EXPECT_FALSE(Exists(MarkerPath()));
    EXPECT_TRUE(Exists(ThumbnailPath()));
}

TEST_F(Thumbnail, FailedRenderingLeavesTheMarkerAndTakesThePageAway) {
    FailTool(2);
    EXPECT_EQ(Make(), 1002);
    ExpectFailureRemembered();
}

TEST_F(Thumbnail, FailedAttemptTakesAnOldThumbnailAway) {
    EXPECT_EQ(Make(), 1000);
    PlayTool({.exitStatus = 124});
    EXPECT_EQ(Make(), 1001);
    ExpectFailureRemembered();
}

TEST_F(Thumbnail, ThatCannotBeMovedIntoPlaceFails) {
    PlatformDouble::Get().Always("NAVOFileCopy", -1);
    EXPECT_EQ(Make(), 1003);
    ExpectFailureRemembered();
}

TEST_F(Thumbnail, MarkerThatCannotBeTouchedFails) {
    const std::string marker = MarkerPath();
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        return call.operation == "NLIBCFileTouch" && call.arguments[0] == marker ? std::optional(-1)
                                                                                 : std::nullopt;
    });
    errno = 0;
    EXPECT_EQ(Make(), 1003);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(HasSubstr("Converter:403 (" + std::to_string(getpid()) +
                                      ") Failed [! errMgr.Touch()]")));
    EXPECT_FALSE(Exists(ThumbnailPath()));
    EXPECT_THAT(DockerCalls(), IsEmpty());
    EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
}

TEST_F(Thumbnail, WithoutAPlaceTouchesNothingInTheWorkingDirectory) {
    WriteFile("/volume1/@navoea", "a file in the directory's place");
    EXPECT_EQ(Make(), 1003);
    EXPECT_FALSE(Exists(".err.0063"));
    EXPECT_THAT(SyslogSink::Get().Texts(), Contains(HasSubstr("! errMgr.Touch()")));
    EXPECT_THAT(DockerCalls(), IsEmpty());
}

TEST_F(Thumbnail, OfADocumentThatAnotherProcessIsAtIsLeftToIt) {
    WriteState(R"({"navo1":{},"navo2":{},"runningFiles":{"/volume1/docs/a.docx:thumbnail":{}}})");
    const Json::Value before = State();
    EXPECT_EQ(Make(), 1000);
    EXPECT_EQ(State(), before);
    EXPECT_THAT(DockerCalls(), IsEmpty());
    EXPECT_THAT(Names(Streams()), IsEmpty());
}

TEST_F(Thumbnail, OfAnUnsupportedTypeFailsWithItsMarker) {
    WriteFile("/volume1/docs/a.zip", "zip");
    EXPECT_EQ(Make("/volume1/docs/a.zip"), 1003);
    EXPECT_THAT(Names(EADirectoryOf("/volume1/docs/a.zip")),
                ElementsAre("NAVODOC_THUMB.png.err.0063"));
}

TEST_F(Thumbnail, OfABookIsItsCover) {
    WriteFile("/volume1/docs/a.epub", "book");
    EXPECT_EQ(Make("/volume1/docs/a.epub"), 1000);
    EXPECT_EQ(DockerCalls().at(0).at(6), "ebook-meta");
    EXPECT_EQ(DockerCalls().at(1).at(6), "convert");
}

TEST_F(Thumbnail, ThrowWhileItIsRenderedLeavesNoScratchFile) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        const bool isTool = call.operation == "NLIBCExecv";
        if (isTool && PlatformDouble::Get().CallsOf("NLIBCExecv").size() == 2) {
            throw std::bad_alloc();
        }
        return std::nullopt;
    });
    EXPECT_THROW(Make(), std::bad_alloc);
    ExpectFailureRemembered();
}

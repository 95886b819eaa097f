// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "Device.h"
#include "PlatformDouble.h"
#include "SyslogSink.h"
#include "vellumo/Path.h"
#include "vellumo/utils.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Files : public DeviceTest {
protected:
    Files() { PlatformDouble::Get().Reset(); }
    ~Files() override { PlatformDouble::Get().Reset(); }
};

struct TypeCase {
    const char* path;
    bool found;
    const char* type;
};

}  // namespace

TEST_F(Files, CopyKeepsTheSource) {
    WriteFile("/volume1/docs/a", "content");
    EXPECT_TRUE(CopyFile("/volume1/docs/a", "/volume1/docs/b"));
    EXPECT_EQ(ReadFile("/volume1/docs/b"), "content");
    EXPECT_TRUE(Exists("/volume1/docs/a"));
}

TEST_F(Files, MoveTakesTheSourceAway) {
    WriteFile("/volume1/docs/a", "content");
    WriteFile("/volume1/docs/b", "what was there before");
    EXPECT_TRUE(MoveFile("/volume1/docs/a", "/volume1/docs/b"));
    EXPECT_EQ(ReadFile("/volume1/docs/b"), "content");
    EXPECT_FALSE(Exists("/volume1/docs/a"));
}

TEST_F(Files, CopyAndMoveAskThePlatformWithTheirFlags) {
    WriteFile("/volume1/docs/a", "content");
    MoveOrCopyFile("/volume1/docs/a", "/volume1/docs/b", false);
    MoveOrCopyFile("/volume1/docs/a", "/volume1/docs/b", true);
    const auto calls = PlatformDouble::Get().CallsOf("NAVOFileCopy");
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_THAT(calls[0].arguments, ElementsAre("/volume1/docs/a", "/volume1/docs/b", "1", "0"));
    EXPECT_THAT(calls[1].arguments, ElementsAre("/volume1/docs/a", "/volume1/docs/b", "1", "1"));
}

TEST_F(Files, CopyThatFailsIsFalseAndSilent) {
    EXPECT_FALSE(CopyFile("/volume1/docs/missing", "/volume1/docs/b"));
    EXPECT_FALSE(MoveFile("/volume1/docs/missing", "/volume1/docs/b"));
    EXPECT_FALSE(Exists("/volume1/docs/b"));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Files, VolumeIsWhatHoldsTheShare) {
    for (const char* path : {"/docker", "/docker/@tmp"}) {
        std::string volume;
        EXPECT_TRUE(VolumePathGet(path, volume));
        EXPECT_EQ(volume, "/volume1");
        EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOShareGet").back().arguments,
                    ElementsAre("docker"));
    }
}

TEST_F(Files, VolumeOfAnUnknownShareFails) {
    PlatformDouble::Get().Always("NAVOShareGet", -1);
    for (const char* path : {"/nowhere/x", "/", ""}) {
        std::string volume = "untouched";
        EXPECT_FALSE(VolumePathGet(path, volume));
        EXPECT_EQ(volume, "untouched");
    }
    EXPECT_THAT(
        SyslogSink::Get().Messages(),
        ElementsAre(LogMessage{LOG_USER | LOG_ERR, Logged("utils", 92, "share name: nowhere")},
                    LogMessage{LOG_USER | LOG_ERR, Logged("utils", 92, "share name: ")},
                    LogMessage{LOG_USER | LOG_ERR, Logged("utils", 92, "share name: ")}));
}

TEST_F(Files, VolumeMessageCarriesErrno) {
    PlatformDouble::Get().Always("NAVOShareGet", -1, ENOENT);
    std::string volume;
    VolumePathGet("/nowhere", volume);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(LoggedWithError("utils", 92, "share name: nowhere", ENOENT)));
    EXPECT_EQ(errno, 0);
}

TEST_F(Files, TypeIsTheLowerCaseExtension) {
    const TypeCase cases[] = {
        {"a/b/README", false, ""},
        {"x.PDF", true, "pdf"},
        {"x.", true, ""},
        {"/volume1/docs/Report.DOCX", true, "docx"},
        {"archive.tar.gz", true, "gz"},
        {".bashrc", true, "bashrc"},
        {"/a.b/c", false, ""},
        {"", false, ""},
        {".", false, ""},
        {"..", false, ""},
        {"/docs/", false, ""},
        {"Bericht \xc3\x9c.OdT", true, "odt"},
    };
    for (const TypeCase& expected : cases) {
        std::string type = "before";
        EXPECT_EQ(GetFileType(expected.path, type), expected.found) << expected.path;
        EXPECT_EQ(type, expected.type) << expected.path;
    }
}

TEST_F(Files, ProductOfMoreThanTenBytesIsValid) {
    WriteFile("/volume1/docs/ten", std::string(10, 'x'));
    WriteFile("/volume1/docs/eleven", std::string(11, 'x'));
    EXPECT_FALSE(IsFileValidSize("/volume1/docs/ten"));
    EXPECT_TRUE(IsFileValidSize("/volume1/docs/eleven"));
    EXPECT_FALSE(IsFileValidSize("/volume1/docs/missing"));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Files, TemporaryFileIsEmptyUniqueAndOfItsType) {
    path::Path first;
    path::Path second;
    EXPECT_TRUE(CreateTmpFileNameWithType("pdf", "/volume1/docs/", first));
    EXPECT_TRUE(CreateTmpFileNameWithType("pdf", "/volume1/docs/", second));
    EXPECT_THAT(first.GetRealPath(), testing::MatchesRegex("/volume1/docs/[A-Za-z0-9]{6}\\.pdf"));
    EXPECT_NE(first.GetRealPath(), second.GetRealPath());
    EXPECT_TRUE(Exists(first.GetRealPath()));
    EXPECT_EQ(ReadFile(first.GetRealPath()), "");
}

TEST_F(Files, TemporaryFileOfTheEmptyTypeEndsInADot) {
    path::Path file;
    EXPECT_TRUE(CreateTmpFileNameWithType("", "/volume1/docs/pre-", file));
    EXPECT_THAT(file.GetRealPath(), testing::MatchesRegex("/volume1/docs/pre-[A-Za-z0-9]{6}\\."));
    const auto calls = PlatformDouble::Get().CallsOf("mkostemps");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_THAT(calls[0].arguments, ElementsAre("/volume1/docs/pre-XXXXXX.", "1"));
}

TEST_F(Files, TemporaryFileInAMissingDirectoryFailsWithoutProcessId) {
    path::Path file;
    errno = 0;
    EXPECT_FALSE(CreateTmpFileNameWithType("pdf", "/volume1/missing/", file));
    EXPECT_FALSE(file.HasData("realPath"));
    EXPECT_THAT(SyslogSink::Get().Messages(),
                ElementsAre(LogMessage{LOG_USER | LOG_ERR,
                                       "utils:62 mkstemp /volume1/missing/XXXXXX.pdf failed"}));
}

TEST_F(Files, RemovedFileIsGone) {
    WriteFile("/volume1/docs/a", "content");
    EXPECT_TRUE(RemoveFileDropCache("/volume1/docs/a"));
    EXPECT_FALSE(Exists("/volume1/docs/a"));
    EXPECT_FALSE(RemoveFileDropCache("/volume1/docs/a"));
}

TEST_F(Files, FileThatMayNotBeOpenedStays) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    chmod("/volume1/docs", 0777);
    WriteFile("/volume1/docs/a", "content");
    chmod("/volume1/docs/a", 0444);
    ASSERT_TRUE(SetEffectiveUser(65534));
    EXPECT_FALSE(RemoveFileDropCache("/volume1/docs/a"));
    ASSERT_TRUE(SetEffectiveUser(0));
    EXPECT_TRUE(Exists("/volume1/docs/a"));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

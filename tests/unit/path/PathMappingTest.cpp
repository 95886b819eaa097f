// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <stdexcept>

#include "Device.h"
#include "PlatformDouble.h"
#include "SyslogSink.h"
#include "vellumo/Path.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

class PathMapping : public DeviceTest {
protected:
    PathMapping() { PlatformDouble::Get().Reset(); }
    ~PathMapping() override { PlatformDouble::Get().Reset(); }

    // `text` in a message of the source Path, whatever its line.
    static std::string PathMessage(const std::string& text) {
        return "Path:[0-9]+ \\(" + std::to_string(getpid()) + "\\) " + text;
    }
    std::string _out = "untouched";
};

struct stat StatusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status;
}

}  // namespace

TEST_F(PathMapping, MapsAShareToItsDirectory) {
    EXPECT_TRUE(path::ShareToRealPath("/docs/a/b.docx", _out, "ann"));
    EXPECT_EQ(_out, "/volume1/docs/a/b.docx");
}

TEST_F(PathMapping, ShareWithoutRestIsTheSharesDirectoryItself) {
    EXPECT_TRUE(path::ShareToRealPath("/docs", _out, ""));
    EXPECT_EQ(_out, "/volume1/docs");
    EXPECT_TRUE(path::ShareToRealPath("/docs/", _out, ""));
    EXPECT_EQ(_out, "/volume1/docs/");
}

TEST_F(PathMapping, EmptySharePathIsBad) {
    EXPECT_FALSE(path::ShareToRealPath("", _out, ""));
    EXPECT_EQ(_out, "untouched");
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(PathMessage("bad share path: "))));
}

TEST_F(PathMapping, SharePathWithoutLeadingSlashIsBad) {
    EXPECT_FALSE(path::ShareToRealPath("docs/a.pdf", _out, ""));
    EXPECT_EQ(_out, "untouched");
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(PathMessage("bad share path: docs/a.pdf"))));
}

TEST_F(PathMapping, MessagesAreErrorsUnderTheProcesssOwnFacility) {
    path::ShareToRealPath("", _out, "");
    EXPECT_EQ(SyslogSink::Get().Messages().at(0).priority, LOG_USER | LOG_ERR);
}

TEST_F(PathMapping, MessageCarriesErrnoAndClearsIt) {
    errno = EACCES;
    path::ShareToRealPath("docs", _out, "");
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(
                    PathMessage("bad share path: docs \\[err: Permission denied\\]"))));
    EXPECT_EQ(errno, 0);
}

TEST_F(PathMapping, UnknownShareFails) {
    PlatformDouble::Get().Always("NAVOShareGet", -1);
    EXPECT_FALSE(path::ShareToRealPath("/nowhere/a.pdf", _out, ""));
    EXPECT_EQ(_out, "untouched");
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(PathMessage("cannot get share path nowhere"))));
}

TEST_F(PathMapping, HomeAliasIsTheUsersHome) {
    EXPECT_TRUE(path::ShareToRealPath("/home/a/b.doc", _out, "root"));
    EXPECT_EQ(_out, "/volume1/homes/root/a/b.doc");
}

TEST_F(PathMapping, HomeAliasWithOneSlashIsTheHomeAndASlash) {
    EXPECT_TRUE(path::ShareToRealPath("/home/", _out, "root"));
    EXPECT_EQ(_out, "/volume1/homes/root/");
}

TEST_F(PathMapping, BareHomeAliasThrowsOutOfRange) {
    EXPECT_THROW(path::ShareToRealPath("/home", _out, "root"), std::out_of_range);
    EXPECT_EQ(_out, "untouched");
}

TEST_F(PathMapping, UserWithoutHomeFails) {
    PlatformDouble::Get().Always("PfmUserHomeFullPathGet", FALSE);
    EXPECT_FALSE(path::ShareToRealPath("/home/a.doc", _out, "nobody-here"));
    EXPECT_EQ(_out, "untouched");
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(PathMessage("cannot get user home path home"))));
}

TEST_F(PathMapping, HomesIsAnOrdinaryShare) {
    EXPECT_TRUE(path::ShareToRealPath("/homes/ann/a.doc", _out, "root"));
    EXPECT_EQ(_out, "/volume1/homes/ann/a.doc");
}

TEST_F(PathMapping, HomesIsTheAliasWhereThePlatformSaysSo) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        return call.operation == "IsDirUserHome" ? std::optional(TRUE) : std::nullopt;
    });
    EXPECT_TRUE(path::ShareToRealPath("/homes/ann/a.doc", _out, "root"));
    EXPECT_EQ(_out, "/volume1/homes/root//ann/a.doc");
}

TEST_F(PathMapping, DotDotIsMappedAsItStands) {
    EXPECT_TRUE(path::ShareToRealPath("/docs/../x.pdf", _out, ""));
    EXPECT_EQ(_out, "/volume1/docs/../x.pdf");
}

TEST_F(PathMapping, ExtendedAttributeStreamLiesInTheFilesDirectory) {
    EXPECT_TRUE(path::RealPathToEAPath("/volume1/docs/a.docx", _out, "NAVODOC_THUMB.png"));
    EXPECT_EQ(_out, StreamOf("/volume1/docs/a.docx", "NAVODOC_THUMB.png"));
}

TEST_F(PathMapping, EmptyStreamIsTheDirectoryItself) {
    EXPECT_TRUE(path::RealPathToEAPath("/volume1/docs/a.docx", _out, ""));
    EXPECT_EQ(_out, EADirectoryOf("/volume1/docs/a.docx"));
}

TEST_F(PathMapping, MissingExtendedAttributeDirectoryIsCreatedOnceAsRoot) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    ASSERT_TRUE(SetEffectiveUser(65534));
    EXPECT_TRUE(path::RealPathToEAPath("/volume1/docs/a.docx", _out, "x"));
    EXPECT_TRUE(path::RealPathToEAPath("/volume1/docs/a.docx", _out, "y"));
    EXPECT_EQ(geteuid(), 65534U);
    ASSERT_TRUE(SetEffectiveUser(0));
    EXPECT_EQ(StatusOf(EADirectoryOf("/volume1/docs/a.docx")).st_uid, 0U);
    EXPECT_EQ(PlatformDouble::Get().CallsOf("NAVOEAMKDir").size(), 1U);
}

TEST_F(PathMapping, ExistingExtendedAttributeDirectoryIsUsedWhoeverOwnsIt) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    MakeEADirectory("/volume1/docs/a.docx");
    PlatformDouble::Get().Reset();
    ASSERT_EQ(chown(EADirectoryOf("/volume1/docs/a.docx").c_str(), 12345, 12345), 0);
    EXPECT_TRUE(path::RealPathToEAPath("/volume1/docs/a.docx", _out, "x"));
    EXPECT_EQ(StatusOf(EADirectoryOf("/volume1/docs/a.docx")).st_uid, 12345U);
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NAVOEAMKDir"), IsEmpty());
}

TEST_F(PathMapping, RefusedFileHasNoExtendedAttributes) {
    for (const char* refused : {"", "docs/a.docx", "/volume1/docs/../a.docx"}) {
        EXPECT_FALSE(path::RealPathToEAPath(refused, _out, "x")) << refused;
        EXPECT_THAT(SyslogSink::Get().Texts(),
                    ElementsAre(MatchesRegex("Path:[0-9]+ Get ea dir path error. file path: " +
                                             std::string(refused))));
    }
    EXPECT_EQ(_out, "untouched");
}

TEST_F(PathMapping, DirectoryThatCannotBeMadeFails) {
    PlatformDouble::Get().Always("NAVOEAMKDir", -1, EROFS);
    EXPECT_FALSE(path::RealPathToEAPath("/volume1/docs/a.docx", _out, "x"));
    EXPECT_EQ(_out, "untouched");
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex("Path:[0-9]+ Make ea dir path error. eaDir path: " +
                                         EADirectoryOf("/volume1/docs/a.docx"))));
    EXPECT_EQ(errno, EROFS) << "a message without process id leaves errno alone";
}

TEST_F(PathMapping, DirectoryIsNotMadeByWhoCannotBecomeRoot) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    ASSERT_TRUE(SetEffectiveUser(65534));
    PlatformDouble::Get().Always("setresuid", -1);
    errno = 0;
    EXPECT_FALSE(path::RealPathToEAPath("/volume1/docs/a.docx", _out, "x"));
    PlatformDouble::Get().Reset();
    ASSERT_TRUE(SetEffectiveUser(0));
    EXPECT_FALSE(Exists("/volume1/@navoea"));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex("Path:[0-9]+ ERROR: IF_RUN_AS\\(0, 0\\)"),
                            MatchesRegex(PathMessage("failed to change root.*"))));
}

TEST_F(PathMapping, RefusedStreamFailsWithoutAMessage) {
    PlatformDouble::Get().Always("NAVOEAPath", -1);
    EXPECT_FALSE(path::RealPathToEAPath("/volume1/docs/a.docx", _out, "x"));
    EXPECT_EQ(_out, "untouched");
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(PathMapping, ScaleVolumeIsAFlagOfTheShare) {
    EXPECT_TRUE(path::IsScaleVolume("/archive/a.pdf"));
    EXPECT_FALSE(path::IsScaleVolume("/docs/a.pdf"));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(PathMapping, ScaleVolumeOfABadPathOrShareIsFalseAndLogged) {
    EXPECT_FALSE(path::IsScaleVolume("archive"));
    PlatformDouble::Get().Always("NAVOShareGet", -1);
    EXPECT_FALSE(path::IsScaleVolume("/home/a"));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(PathMessage("bad share path: archive")),
                            MatchesRegex(PathMessage("cannot get share path home"))));
    EXPECT_THAT(PlatformDouble::Get().CallsOf("IsDirUserHome"), IsEmpty());
}

// SPDX-License-Identifier: Apache-2.0
#include "vellumo/Path.h"

#include <cstring>
#include <type_traits>

#include "Device.h"
#include "PlatformDouble.h"
#include "SyslogSink.h"

using NAVO::VELLUMO::path::Path;
using namespace vellumo::test;

namespace {

class PathObject : public DeviceTest {
protected:
    PathObject() { PlatformDouble::Get().Reset(); }
    ~PathObject() override { PlatformDouble::Get().Reset(); }

    static size_t ShareLookUps() { return PlatformDouble::Get().CallsOf("NAVOShareGet").size(); }
    Path _path;
};

}  // namespace

TEST_F(PathObject, WithARealPathNeedsNoShare) {
    _path.SetData("realPath", "/volume1/docs/Report.DOCX", true);
    EXPECT_EQ(_path.GetRealPath(), "/volume1/docs/Report.DOCX");
    EXPECT_EQ(_path.GetFileName(), "Report.DOCX");
    EXPECT_EQ(_path.GetFileType(), "docx");
    EXPECT_EQ(_path.GetEAPathWithType("s"), StreamOf("/volume1/docs/Report.DOCX", "s"));
    EXPECT_EQ(ShareLookUps(), 0U);
}

TEST_F(PathObject, WithoutAnyPathReturnsDefaults) {
    EXPECT_EQ(_path.GetRealPath("none"), "none");
    EXPECT_EQ(_path.GetFileName("none"), "none");
    EXPECT_EQ(_path.GetFileType("none"), "none");
    EXPECT_EQ(_path.GetSharePath("none"), "none");
    EXPECT_EQ(_path.GetUser("none"), "none");
    EXPECT_EQ(_path.GetEAType("none"), "none");
    EXPECT_EQ(_path.GetEAPath("none"), "none");
    EXPECT_EQ(_path.GetEAPathWithType("s", "none"), "none");
}

TEST_F(PathObject, WithoutEATypeHasNoEAPathThoughItsRealPathIsKnown) {
    _path.SetData("realPath", "/volume1/docs/a.docx", true);
    EXPECT_EQ(_path.GetEAPath("none"), "none");
}

TEST_F(PathObject, ComputesEachAttributeOnceAndRemembersIt) {
    _path.SetData("sharePath", "/docs/a.docx", true);
    _path.SetData("EAType", "s", true);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(_path.GetRealPath(), "/volume1/docs/a.docx");
        EXPECT_EQ(_path.GetFileType(), "docx");
        EXPECT_EQ(_path.GetEAPath(), StreamOf("/volume1/docs/a.docx", "s"));
    }
    EXPECT_EQ(ShareLookUps(), 1U);
    EXPECT_EQ(PlatformDouble::Get().CallsOf("NAVOEADirPath").size(), 1U);
    EXPECT_TRUE(_path.HasData("realPath"));
    EXPECT_TRUE(_path.HasData("fileType"));
    EXPECT_TRUE(_path.HasData("EAPath"));
}

TEST_F(PathObject, MapsTheHomeOfItsUser) {
    _path.SetData("sharePath", "/home/a.docx", true);
    _path.SetData("user", "root", true);
    EXPECT_EQ(_path.GetRealPath(), "/volume1/homes/root/a.docx");
}

TEST_F(PathObject, ThatCouldNotComputeTriesAgain) {
    _path.SetData("sharePath", "/late/a.docx", true);
    _path.SetData("EAType", "s", true);
    EXPECT_EQ(_path.GetRealPath("none"), "none");
    EXPECT_EQ(_path.GetEAPath("none"), "none");
    EXPECT_EQ(_path.GetFileType("none"), "none");
    EXPECT_FALSE(_path.HasData("realPath"));
    EXPECT_FALSE(_path.HasData("EAPath"));
    EXPECT_FALSE(_path.HasData("fileType"));

    WriteFile("/etc/samba/smb.conf", "[late]\npath = /volume1/docs\n");
    EXPECT_EQ(_path.GetRealPath("none"), "/volume1/docs/a.docx");
    EXPECT_EQ(_path.GetEAPath("none"), StreamOf("/volume1/docs/a.docx", "s"));
    EXPECT_EQ(_path.GetFileType("none"), "docx");
}

TEST_F(PathObject, EAPathWithTypeIsNeverRemembered) {
    _path.SetData("realPath", "/volume1/docs/a.docx", true);
    EXPECT_EQ(_path.GetEAPathWithType("one"), StreamOf("/volume1/docs/a.docx", "one"));
    EXPECT_EQ(_path.GetEAPathWithType("two"), StreamOf("/volume1/docs/a.docx", "two"));
    EXPECT_FALSE(_path.HasData("EAPath"));
}

TEST_F(PathObject, FileNameFollowsTheLastSlash) {
    _path.SetData("realPath", "/volume1/docs/", true);
    EXPECT_EQ(_path.GetFileName("none"), "");
    _path.SetData("realPath", "slashless", true);
    EXPECT_EQ(_path.GetFileName("none"), "none");
}

TEST_F(PathObject, KeepsWhatItComputedWhenItsSharePathChanges) {
    _path.SetData("sharePath", "/docs/a.docx", true);
    EXPECT_EQ(_path.GetRealPath(), "/volume1/docs/a.docx");
    _path.SetData("sharePath", "/docs/b.docx", true);
    EXPECT_EQ(_path.GetRealPath(), "/volume1/docs/a.docx");
    EXPECT_TRUE(_path.ClearData("realPath"));
    EXPECT_EQ(_path.GetRealPath(), "/volume1/docs/b.docx");
}

TEST_F(PathObject, BagCanBeReplacedAsAWhole) {
    _path.SetData("realPath", "/volume1/docs/a.docx", true);
    Json::Value bag;
    bag["user"] = "ann";
    EXPECT_TRUE(_path.SetData(bag, true));
    EXPECT_EQ(_path.GetUser(), "ann");
    EXPECT_FALSE(_path.HasData("realPath"));
}

TEST_F(PathObject, FlagFalseKeepsAnExistingValue) {
    EXPECT_TRUE(_path.SetData("user", "ann", false));
    EXPECT_FALSE(_path.SetData("user", "bob", false));
    EXPECT_EQ(_path.GetUser(), "ann");
    EXPECT_TRUE(_path.SetData("user", "bob", true));
    EXPECT_EQ(_path.GetUser(), "bob");
}

TEST_F(PathObject, ClearingAnAbsentAttributeIsFalse) {
    EXPECT_FALSE(_path.ClearData("user"));
}

TEST_F(PathObject, AttributeOrBagOfTheWrongKindReadsAsAbsent) {
    _path.SetData("realPath", Json::Value(Json::objectValue), true);
    EXPECT_EQ(_path.GetRealPath("none"), "none");
    for (const Json::Value& bag :
         {Json::Value(7), Json::Value("text"), Json::Value(Json::arrayValue), Json::Value()}) {
        _path.SetData(bag, true);
        EXPECT_EQ(_path.GetUser("none"), "none");
        EXPECT_EQ(_path.GetRealPath("none"), "none");
        EXPECT_FALSE(_path.HasData("user"));
        EXPECT_FALSE(_path.ClearData("user"));
    }
}

TEST_F(PathObject, IsNoCopyOfAnother) {
    EXPECT_FALSE(std::is_copy_constructible_v<Path>);
    EXPECT_FALSE((std::is_convertible_v<Path*, NAVO::APIBase*>)) << "the base is not public";
}

namespace {

// The slot of a virtual operation in its class's table, as the Itanium C++ ABI keeps it in a
// pointer to member: 1 plus the offset in bytes.
template <typename Method>
size_t Slot(Method method) {
    size_t bits = 0;
    static_assert(sizeof(method) >= sizeof(bits));
    std::memcpy(&bits, &method, sizeof(bits));
    return (bits - 1) / sizeof(void*) + 1;
}

}  // namespace

TEST_F(PathObject, VirtualOperationsKeepTheirSlots) {
    using Json::Value;
    using std::string;
    EXPECT_EQ(Slot(static_cast<bool (Path::*)(const string&, const Value&, bool)>(&Path::SetData)),
              4U);
    EXPECT_EQ(Slot(static_cast<bool (Path::*)(const string&) const>(&Path::HasData)), 8U);
    EXPECT_EQ(Slot(static_cast<bool (Path::*)(const Value&, bool)>(&Path::SetData)), 9U);
    EXPECT_EQ(Slot(static_cast<const Value& (Path::*)(const string&, const Value&) const>(
                  &Path::GetData)),
              10U);
    EXPECT_EQ(Slot(static_cast<bool (Path::*)(const string&)>(&Path::ClearData)), 11U);
}

// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Document.h"

#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <optional>

#include "Device.h"
#include "loader/Problem.h"

namespace vellumo::loader {
namespace {

using namespace vellumo::test;

// The name of the reason why `step` failed; nothing if it succeeded. An optional, which googletest
// compares and prints.
std::optional<std::string> ReasonOf(const std::function<void()>& step) {
    try {
        step();
    } catch (const Failure& failure) {
        EXPECT_NE(failure.Details().what, "");
        EXPECT_NE(failure.Details().why, "");
        return NameOf(failure.Details().reason);
    }
    return std::nullopt;
}

class Documents : public DeviceTest {
protected:
    static std::optional<std::string> ResolveReason(const std::string& sharePath) {
        return ReasonOf([&] { Resolve(sharePath, "root"); });
    }
    static std::optional<std::string> ConvertReason(const std::string& sharePath) {
        const Document document = Resolve(sharePath, "root");
        return ReasonOf([&] { CheckConvertible(document); });
    }
};

TEST_F(Documents, AreResolvedWithoutAccessToAnyFile) {
    const Document document = Resolve("/docs/a/b.DOCX", "root");
    EXPECT_EQ(document.realPath, "/volume1/docs/a/b.DOCX");
    EXPECT_EQ(document.type, "docx");
    ASSERT_NE(document.family, nullptr);
    EXPECT_EQ(document.family->whole.tool, "soffice");
    EXPECT_FALSE(Exists("/volume1/docs/a"));
}

TEST_F(Documents, ThatCannotBeResolvedSayWhy) {
    EXPECT_EQ(ResolveReason(""), "bad-share-path");
    EXPECT_EQ(ResolveReason("docs/a.odt"), "bad-share-path");
    EXPECT_EQ(ResolveReason("/docs/../docs/a.odt"), "bad-share-path");
    EXPECT_EQ(ResolveReason("/home"), "bad-share-path");
    EXPECT_EQ(ResolveReason("/missing/a.odt"), "unknown-share");
}

TEST_F(Documents, ThatCannotBeConvertedSayWhy) {
    MakeDirectory("/volume1/docs/folder.odt");
    WriteFile("/volume1/docs/empty.odt", "");
    WriteFile("/volume1/docs/a.xyz", "content");
    WriteFile("/volume1/docs/noextension", "content");
    std::filesystem::create_symlink("empty.odt", "/volume1/docs/link.odt");
    mkfifo("/volume1/docs/pipe.odt", 0600);
    EXPECT_EQ(ConvertReason("/docs"), "share-alone");
    EXPECT_EQ(ConvertReason("/docs/missing.odt"), "missing");
    EXPECT_EQ(ConvertReason("/docs/folder.odt"), "folder");
    EXPECT_EQ(ConvertReason("/docs/link.odt"), "not-regular");
    EXPECT_EQ(ConvertReason("/docs/pipe.odt"), "not-regular");
    EXPECT_EQ(ConvertReason("/docs/noextension"), "no-type");
    EXPECT_EQ(ConvertReason("/docs/a.xyz"), "unsupported-type");
    EXPECT_EQ(ConvertReason("/docs/empty.odt"), "empty");
}

TEST_F(Documents, ThatAConverterTakesPass) {
    WriteFile("/volume1/docs/a.odt", "content");
    EXPECT_EQ(ConvertReason("/docs/a.odt"), std::nullopt);
}

}  // namespace
}  // namespace vellumo::loader

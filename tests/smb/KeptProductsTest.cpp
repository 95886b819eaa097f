// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Samba.h"
#include "vellumo/CacheManager.h"

// What is kept of documents, as users of SMB meet it: not at all.
namespace vellumo::test {
namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kPdf = "NAVODOC_THUMB.pdf";
constexpr const char* kTree = "/volume1/@navoea";
constexpr uid_t kAnn = 1001;

// Ann's folder /docs/hers with two documents, of which a PDF is kept each.
class KeptProducts : public SambaTest {
protected:
    void SetUp() override {
        SambaTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        MakeDirectory("/volume1/docs/hers/inner");
        for (const char* name : {"hers/a.docx", "hers/inner/b.docx"}) {
            Keep(std::string("/volume1/docs/") + name);
        }
        for (const char* name : {"", "/hers", "/hers/inner"}) {
            GiveToAnn(std::string("/volume1/docs") + name);
        }
    }

    static void GiveToAnn(const std::string& path) {
        ASSERT_EQ(chown(path.c_str(), kAnn, kAnn), 0) << path;
    }
    static void Keep(const std::string& document) {
        WriteFile(document, "a document");
        GiveToAnn(document);
        WriteFile("/device/product", "made of it");
        core::CacheManager cache(false, 0);
        ASSERT_TRUE(cache.Set("/device/product", document, kPdf, true)) << document;
    }
    static bool IsServed(const std::string& document) {
        core::CacheManager cache(false, 0);
        std::ifstream stream;
        return cache.Get(document, kPdf, stream);
    }
    static Finished InDocs(const std::string& commands) { return AsUser("ann", "docs", commands); }
    static Finished InVolume(const std::string& commands) {
        return AsUser("ann", "volume", commands);
    }
};

TEST_F(KeptProducts, AreNotInUsersFolders) {
    ASSERT_TRUE(IsServed("/volume1/docs/hers/a.docx"));
    const Finished listing = InDocs("recurse; ls");
    EXPECT_EQ(listing.status, 0);
    EXPECT_THAT(listing.output, HasSubstr("a.docx"));
    EXPECT_THAT(listing.output, Not(HasSubstr("navo")));
    EXPECT_THAT(Names("/volume1/docs/hers"), ElementsAre("a.docx", "inner"));
}

TEST_F(KeptProducts, LetAFileBeDeleted) {
    EXPECT_EQ(InDocs("cd hers; del a.docx").status, 0);
    EXPECT_THAT(Names("/volume1/docs/hers"), ElementsAre("inner"));
    EXPECT_EQ(InDocs("cd hers; put /etc/hostname a.docx").status, 0);
    EXPECT_FALSE(IsServed("/volume1/docs/hers/a.docx")) << "it is of the file that is gone";
}

TEST_F(KeptProducts, LetAFolderBeDeleted) {
    EXPECT_EQ(InDocs("deltree hers").status, 0);
    EXPECT_THAT(Names("/volume1/docs"), IsEmpty());
}

TEST_F(KeptProducts, OfRootInAUsersFolderWouldKeepItFromBeingDeleted) {
    MakeDirectory("/volume1/docs/hers/.navoea/a.docx");
    InDocs("deltree hers");
    EXPECT_THAT(Names("/volume1/docs"), ElementsAre("hers"))
        << "so the test of the deletion shows nothing";
}

TEST_F(KeptProducts, LetAFolderBeRenamedAndMoved) {
    EXPECT_EQ(InDocs("rename hers now; mkdir there; rename now there\\now").status, 0);
    EXPECT_THAT(Names("/volume1/docs"), ElementsAre("there"));
    EXPECT_THAT(Names("/volume1/docs/there/now"), ElementsAre("a.docx", "inner"));
    EXPECT_FALSE(IsServed("/volume1/docs/there/now/a.docx"));
}

TEST_F(KeptProducts, AreServedAgainWhenTheDocumentIsBack) {
    EXPECT_EQ(InDocs("rename hers now; rename now hers").status, 0);
    EXPECT_TRUE(IsServed("/volume1/docs/hers/a.docx"));
}

TEST_F(KeptProducts, DoNotGoWithACopy) {
    EXPECT_EQ(InDocs("mkdir copy; scopy hers\\a.docx copy\\a.docx").status, 0);
    EXPECT_EQ(ReadFile("/volume1/docs/copy/a.docx"), "a document");
    EXPECT_THAT(Names("/volume1/docs/copy"), ElementsAre("a.docx"));
    EXPECT_FALSE(IsServed("/volume1/docs/copy/a.docx"));
}

TEST_F(KeptProducts, OfASecretAreNotReadThroughAShareOfTheWholeVolume) {
    const std::string stream = StreamOf("/volume1/docs/hers/a.docx", kPdf);
    const std::string path = fs::path(stream).lexically_relative("/volume1");
    EXPECT_EQ(Fetched("ann", "volume", path), "");
    EXPECT_THAT(InVolume("ls @navoea\\*").output, HasSubstr("ACCESS_DENIED"));
    EXPECT_THAT(InVolume("cd @navoea\\docs; ls").output, Not(HasSubstr("hers")));
    ASSERT_EQ(chmod(kTree, 0755), 0);
    EXPECT_THAT(InVolume("ls @navoea\\*").output, HasSubstr("docs"))
        << "it is not the tree's mode that refuses";
}

TEST_F(KeptProducts, CannotBeChangedThroughAShareOfTheWholeVolume) {
    ASSERT_EQ(chmod("/volume1", 0777), 0);
    for (const char* command : {"mkdir @navoea\\mine", "put /etc/hostname @navoea\\mine",
                                "del @navoea\\docs\\*", "rmdir @navoea", "deltree @navoea"}) {
        InVolume(command);
    }
    EXPECT_THAT(Names(kTree), ElementsAre("docs"));
    ASSERT_EQ(chmod("/volume1", 0755), 0);
    EXPECT_TRUE(IsServed("/volume1/docs/hers/a.docx"));
}

TEST_F(KeptProducts, CannotBeMovedAwayWhereOnlyRootWritesToTheVolumesRoot) {
    for (const mode_t mode : {0755U, 01777U}) {
        ASSERT_EQ(chmod("/volume1", mode), 0);
        EXPECT_NE(InVolume("rename @navoea moved").status, 0);
        EXPECT_TRUE(Exists(kTree));
    }
}

// Who may write to the volume's root may rename what is in it. So nothing is served there, neither
// what is kept nor a forgery.
TEST_F(KeptProducts, AreGivenToNobodyWhenAUserPutsATreeInTheirPlace) {
    const std::string stream = StreamOf("/volume1/docs/hers/a.docx", kPdf);
    const std::string directory = fs::path(stream).parent_path();
    const std::string below = fs::path(directory).lexically_relative("/volume1");
    std::string forge = "rename @navoea moved";
    for (const fs::path path = below; const fs::path& name : path) {
        forge += "; mkdir " + name.string() + "; cd " + name.string();
    }
    ASSERT_EQ(chmod("/volume1", 0777), 0);
    InVolume(forge + "; put /etc/hostname " + kPdf);
    ASSERT_TRUE(Exists(stream)) << "the forgery is not there";
    EXPECT_FALSE(IsServed("/volume1/docs/hers/a.docx"));
    for (const char* command : {"rename @navoea forged", "rename moved @navoea"}) {
        // The server may not have ended the connections before, which keep it from renaming.
        ASSERT_TRUE(ComesTrue([&] { return InVolume(command).status == 0; })) << command;
    }
    ASSERT_EQ(chmod("/volume1", 0755), 0);
    EXPECT_TRUE(IsServed("/volume1/docs/hers/a.docx"));
}

}  // namespace
}  // namespace vellumo::test

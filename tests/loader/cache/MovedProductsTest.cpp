// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/MovedProducts.h"

#include <fcntl.h>
#include <navo/ea.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "Device.h"
#include "Process.h"
#include "loader/cache/CacheIndex.h"
#include "loader/cache/KeptProducts.h"
#include "loader/cache/ServedProduct.h"
#include "loader/cache/Sweep.h"
#include "loader/documents/Document.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

using namespace vellumo::test;
namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;

constexpr const char* kPdf = "NAVODOC_THUMB.pdf";
constexpr const char* kPng = "NAVODOC_THUMB.png";

std::string In(const std::string& name) {
    return "/volume1/docs/" + name;
}

class MovedProducts : public DeviceTest {
protected:
    void SetUp() override { unlink(core::SZF_CACHE_DB_PATH); }

    // Makes a document with a PDF, which the index lists, and a thumbnail, which it does not.
    static void Keep(const std::string& name) {
        MakeDirectory(fs::path(In(name)).parent_path());
        WriteFile(In(name), "a document");
        WriteFile("/volume1/docs/product", "made of " + name);
        core::CacheManager cache(false, 0);
        ASSERT_TRUE(cache.Set("/volume1/docs/product", In(name), kPdf, true));
        WriteFile(StreamOf(In(name), kPng), "thumbnail of " + name);
    }

    static bool Move(const std::string& from, const std::string& to) {
        return MoveProducts({{In(from), In(to)}});
    }

    static void Rename(const std::string& from, const std::string& to) {
        ASSERT_EQ(rename(In(from).c_str(), In(to).c_str()), 0);
    }

    // What root is given of the document, "(none)" if it must be converted.
    static std::string Served(const std::string& name, const char* stream = kPdf) {
        core::CacheManager cache(false, 0);
        const auto served = OpenServed(Resolve("/docs/" + name, "root"), stream, cache);
        std::array<char, 100> text{};
        return !served || read(served->file.Get(), text.data(), text.size() - 1) < 0 ? "(none)"
                                                                                     : text.data();
    }

    // The documents that the index lists.
    static std::vector<std::string> Indexed() {
        std::vector<std::string> targets;
        for (const IndexedStream& stream : CacheIndex("").Streams("")) {
            EXPECT_GE(stream.modified, 0) << stream.target;
            targets.push_back(stream.target);
        }
        return targets;
    }
};

TEST_F(MovedProducts, FollowARenamedDocument) {
    Keep("a.docx");
    Rename("a.docx", "b.docx");
    EXPECT_EQ(Served("b.docx"), "(none)");
    EXPECT_TRUE(Move("a.docx", "b.docx"));
    EXPECT_EQ(Served("b.docx"), "made of a.docx");
    EXPECT_EQ(Served("b.docx", kPng), "thumbnail of a.docx");
    EXPECT_EQ(Indexed(), std::vector{In("b.docx")});
    EXPECT_TRUE(DockerCalls().empty());
}

TEST_F(MovedProducts, FollowADocumentIntoAnotherFolder) {
    Keep("f/a.docx");
    MakeDirectory(In("@g/h"));
    Rename("f/a.docx", "@g/h/a.docx");
    EXPECT_TRUE(Move("f/a.docx", "@g/h/a.docx"));
    EXPECT_EQ(Served("@g/h/a.docx"), "made of f/a.docx");
    EXPECT_FALSE(Exists("/volume1/@navoea/docs/f"));
}

TEST_F(MovedProducts, FollowARenamedFolder) {
    Keep("f/a.docx");
    Keep("f/sub/b.docx");
    Keep("f.docx");
    Keep("f0/c.docx");
    Rename("f", "g");
    EXPECT_TRUE(Move("f", "g"));
    EXPECT_EQ(Served("g/a.docx"), "made of f/a.docx");
    EXPECT_EQ(Served("g/sub/b.docx"), "made of f/sub/b.docx");
    EXPECT_EQ(Served("f.docx"), "made of f.docx");
    EXPECT_EQ(Served("f0/c.docx"), "made of f0/c.docx");
    EXPECT_EQ(Indexed(),
              (std::vector{In("f.docx"), In("f0/c.docx"), In("g/a.docx"), In("g/sub/b.docx")}));
}

TEST_F(MovedProducts, FollowNamesOfAnyBytes) {
    const std::string folder = "a'\n\"%_\xff\xc3(";
    Keep(folder + "/'\n\xfe.docx");
    Rename(folder, "\xe4'--");
    EXPECT_TRUE(Move(folder, "\xe4'--"));
    EXPECT_EQ(Served("\xe4'--/'\n\xfe.docx"), "made of " + folder + "/'\n\xfe.docx");
    EXPECT_EQ(Indexed(), std::vector{In("\xe4'--/'\n\xfe.docx")});
}

TEST_F(MovedProducts, FollowSeveralRenamesOneAfterTheOther) {
    Keep("f/a.docx");
    Rename("f/a.docx", "f/b.docx");
    Rename("f", "g");
    Rename("g/b.docx", "g/c.docx");
    EXPECT_TRUE(MoveProducts(
        {{In("f/a.docx"), In("f/b.docx")}, {In("f"), In("g")}, {In("g/b.docx"), In("g/c.docx")}}));
    EXPECT_EQ(Served("g/c.docx"), "made of f/a.docx");
    EXPECT_EQ(Indexed(), std::vector{In("g/c.docx")});
}

TEST_F(MovedProducts, StayWhereTheyAreWhenTheDocumentWasRenamedBack) {
    Keep("a.docx");
    EXPECT_TRUE(MoveProducts({{In("a.docx"), In("b.docx")}, {In("b.docx"), In("a.docx")}}));
    EXPECT_EQ(Served("a.docx"), "made of a.docx");
    EXPECT_EQ(Indexed(), std::vector{In("a.docx")});
}

TEST_F(MovedProducts, OfTheReplacedDocumentAreNotServed) {
    Keep("a.docx");
    Keep("b.docx");
    Rename("a.docx", "b.docx");
    EXPECT_TRUE(Move("a.docx", "b.docx"));
    EXPECT_EQ(Served("b.docx"), "made of a.docx");
    EXPECT_EQ(Indexed(), std::vector{In("b.docx")});
    EXPECT_EQ(Names("/volume1/@navoea/docs").size(), 1U);
}

TEST_F(MovedProducts, FollowADocumentWhoseNameAnotherOneHasGot) {
    Keep("a.docx");
    Rename("a.docx", "b.docx");
    WriteFile(In("a.docx"), "another");
    EXPECT_TRUE(Move("a.docx", "b.docx"));
    EXPECT_EQ(Served("b.docx"), "made of a.docx");
    EXPECT_EQ(Served("a.docx"), "(none)");
}

TEST_F(MovedProducts, AreNeverThoseOfAnotherDocumentThatTookTheNewName) {
    Keep("a.docx");
    Keep("c.docx");
    Rename("a.docx", "b.docx");
    Rename("b.docx", "d.docx");
    Rename("c.docx", "b.docx");
    EXPECT_TRUE(Move("a.docx", "b.docx"));
    EXPECT_EQ(Served("b.docx"), "(none)");
}

TEST_F(MovedProducts, FollowAFolderWhoseNameAnotherOneHasGot) {
    Keep("f/a.docx");
    Keep("f/sub/b.docx");
    Rename("f", "g");
    Keep("f/a.docx");
    Keep("f/new.docx");
    EXPECT_TRUE(Move("f", "g"));
    EXPECT_EQ(Served("g/sub/b.docx"), "made of f/sub/b.docx");
    EXPECT_EQ(Served("f/a.docx"), "made of f/a.docx");
    EXPECT_EQ(Served("f/new.docx"), "made of f/new.docx");
}

TEST_F(MovedProducts, FollowAFolderIntoOneOfWhichSomethingIsKept) {
    Keep("f/a.docx");
    MakeDirectory(In("old"));
    Keep("g/b.docx");
    Rename("g", "old/g");
    Rename("f", "g");
    Keep("g/c.docx");
    EXPECT_TRUE(Move("f", "g"));
    EXPECT_EQ(Served("g/a.docx"), "made of f/a.docx");
    EXPECT_EQ(Served("g/c.docx"), "made of g/c.docx");
    EXPECT_FALSE(Exists("/volume1/@navoea/docs/f"));
}

// What is followed some time after it has happened: the disk shows the end of it only.
TEST_F(MovedProducts, FollowRenamesOfAFolderAndOfWhatIsInIt) {
    for (const bool isKeptInTarget : {false, true}) {
        SCOPED_TRACE(isKeptInTarget ? "something is kept in the new folder" : "");
        const std::string of = isKeptInTarget ? "k" : "n";
        Keep(of + "f/a.docx");
        Keep(of + "f/b.docx");
        Keep(of + "c.docx");
        Rename(of + "f/a.docx", of + "f/a2.docx");
        Rename(of + "c.docx", of + "f/c2.docx");
        Rename(of + "f", of + "g");
        Rename(of + "g/b.docx", of + "g/b2.docx");
        if (isKeptInTarget) {
            Keep(of + "g/d.docx");
        }
        EXPECT_TRUE(MoveProducts({{In(of + "f/a.docx"), In(of + "f/a2.docx")},
                                  {In(of + "c.docx"), In(of + "f/c2.docx")},
                                  {In(of + "f"), In(of + "g")},
                                  {In(of + "g/b.docx"), In(of + "g/b2.docx")}}));
        EXPECT_EQ(Served(of + "g/a2.docx"), "made of " + of + "f/a.docx");
        EXPECT_EQ(Served(of + "g/b2.docx"), "made of " + of + "f/b.docx");
        EXPECT_EQ(Served(of + "g/c2.docx"), "made of " + of + "c.docx");
    }
}

TEST_F(MovedProducts, StayBehindAcrossVolumes) {
    Keep("a.docx");
    fs::rename(In("a.docx"), "/volume1/a.docx");
    MakeDirectory("/volume2/docs");
    fs::copy_file("/volume1/a.docx", "/volume2/docs/a.docx");
    EXPECT_TRUE(MoveProducts({{In("a.docx"), "/volume2/docs/a.docx"}}));
    EXPECT_FALSE(Exists("/volume2/@navoea"));
    EXPECT_FALSE(Exists(StreamOf("/volume2/docs/a.docx", kPdf)));
}

TEST_F(MovedProducts, OfNothingAreNothing) {
    WriteFile(In("a.docx"), "text");
    Rename("a.docx", "b.docx");
    EXPECT_TRUE(Move("a.docx", "b.docx"));
    EXPECT_FALSE(Exists("/volume1/@navoea"));
    EXPECT_FALSE(Exists(core::SZF_CACHE_DB_PATH));
}

TEST_F(MovedProducts, FollowOnlyWhereTheTreeIsRootsAlone) {
    Keep("a.docx");
    Rename("a.docx", "b.docx");
    chmod("/volume1/@navoea", 0755);
    EXPECT_FALSE(Move("a.docx", "b.docx"));
    EXPECT_EQ(Names("/volume1/@navoea/docs").size(), 1U);
    chmod("/volume1/@navoea", 0700);
    EXPECT_TRUE(Move("a.docx", "b.docx"));
    EXPECT_EQ(Served("b.docx"), "made of a.docx");
}

TEST_F(MovedProducts, AttackAreNeverAnothersWhoeverExchangesTheDocuments) {
    Keep("a.docx");
    Keep("b.docx");
    chmod("/volume1/docs", 0777);
    struct stat a {};
    ASSERT_EQ(stat(In("a.docx").c_str(), &a), 0);
    {
        const Attacker attacker([] {
            renameat2(AT_FDCWD, In("a.docx").c_str(), AT_FDCWD, In("b.docx").c_str(),
                      RENAME_EXCHANGE);
        });
        if (!attacker) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        for (int i = 0; i < 300; ++i) {
            EXPECT_TRUE(MoveProducts({{In("a.docx"), In("b.docx")}, {In("b.docx"), In("a.docx")}}));
        }
    }
    struct stat now {};
    ASSERT_EQ(stat(In("a.docx").c_str(), &now), 0);
    const bool isExchanged = now.st_ino != a.st_ino;
    EXPECT_THAT(Served("a.docx"),
                testing::AnyOf("(none)", isExchanged ? "made of b.docx" : "made of a.docx"));
    EXPECT_THAT(Served("b.docx"),
                testing::AnyOf("(none)", isExchanged ? "made of a.docx" : "made of b.docx"));
}

class NoWatch : public SweepWatch {
public:
    void Enters(const std::string&) override {}
    void Finds(const Leftover&, const std::string& problem) override { EXPECT_EQ(problem, ""); }
    bool WantsEnd() override { return false; }
};

// Kills the process at many moments; a repetition completes what it has begun, and without one the
// sweep leaves nothing that is wrong.
TEST_F(MovedProducts, AreRightAfterAKillAndARepetitionOrASweep) {
    int complete = 0;
    for (int i = 0; i < 60; ++i) {
        PrepareFreshDevice();
        SetUp();
        Keep("f/a.docx");
        Keep("f/sub/b.docx");
        Keep("c.docx");
        Rename("f", "g");
        Rename("c.docx", "d.docx");
        const auto move = [] {
            return MoveProducts({{In("f"), In("g")}, {In("c.docx"), In("d.docx")}}) ? 0 : 1;
        };
        {
            const ChildProcess mover(move);
            usleep(static_cast<useconds_t>(i * 700));
        }  // is killed here
        if (i % 2 == 0) {
            ASSERT_EQ(move(), 0);
            EXPECT_EQ(Served("g/a.docx"), "made of f/a.docx") << "in round " << i;
            EXPECT_EQ(Served("g/sub/b.docx"), "made of f/sub/b.docx") << "in round " << i;
            EXPECT_EQ(Served("d.docx"), "made of c.docx") << "in round " << i;
            EXPECT_EQ(Indexed().size(), 3U) << "in round " << i;
        }
        NoWatch watch;
        Sweep(false, 0, watch);
        for (const std::string& document : Indexed()) {
            EXPECT_TRUE(Exists(document)) << "in round " << i;
            EXPECT_TRUE(Exists(StreamOf(document, kPdf))) << "in round " << i;
            ++complete;
        }
    }
    EXPECT_GT(complete, 90) << "the repetitions alone make 90";
}

}  // namespace
}  // namespace vellumo::loader

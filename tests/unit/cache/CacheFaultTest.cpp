// SPDX-License-Identifier: Apache-2.0
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <random>

#include "Cache.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Constants.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What becomes of the cache when its files meet a file system that does not do its part. Nothing
// stands in for a file system here.
namespace {

constexpr const char* kPdf = "NAVODOC_THUMB.pdf";
constexpr const char* kPng = "NAVODOC_THUMB.png";
constexpr const char* kMarker = "NAVODOC_THUMB.png.err.0063";
constexpr const char* kProduct = "/volume1/docs/product";
constexpr const char* kIndexDir = "/var/packages/Vellumo/etc";
constexpr int kBigProduct = 400000;  // bytes, more than the small volume has

// A small file system of its own, seen in this device view alone; gone at the end.
class SmallVolume {
public:
    static constexpr const char* kOptions = "size=256k";

    explicit SmallVolume(const char* place)
        : _place(place), _mounted(mount("tmpfs", place, "tmpfs", 0, kOptions) == 0) {}
    ~SmallVolume() {
        if (_mounted) {
            umount2(_place, MNT_DETACH);
        }
    }
    SmallVolume(const SmallVolume&) = delete;
    SmallVolume& operator=(const SmallVolume&) = delete;

    explicit operator bool() const { return _mounted; }

    void Fill() const {
        std::ofstream filler(std::string(_place) + "/filler", std::ios::binary);
        while (filler << std::string(1024, 'x') << std::flush) {
        }
    }

    void MakeReadOnly() const {
        ASSERT_EQ(mount(nullptr, _place, nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    }

private:
    const char* _place;
    bool _mounted;
};

// Two documents in a folder, each with a stream of its own: the bystanders of every fault.
class CacheFault : public CacheTest {
protected:
    static void Furnish(const std::string& folder) {
        MakeDirectory(folder);
        CacheManager cache(false, 0);
        for (const char* name : {"a.docx", "b.docx"}) {
            WriteFile(folder + name, "document");
            WriteFile(kProduct, "a png");
            ASSERT_TRUE(cache.Set(kProduct, folder + name, kPng, true));
        }
        SyslogSink::Get().Clear();
    }

    static std::string StreamsOf(const std::string& document) {
        return EADirectoryOf(document) + '/';
    }

    static std::string Served(const std::string& document, const std::string& stream) {
        CacheManager cache(false, 0);
        std::ifstream in;
        return cache.Get(document, stream, in) ? std::string(std::istreambuf_iterator<char>(in), {})
                                               : "(none)";
    }

    static void ExpectBystandersServed(const std::string& folder) {
        for (const char* name : {"a.docx", "b.docx"}) {
            EXPECT_EQ(ReadFile(folder + name), "document");
            EXPECT_EQ(Served(folder + name, kPng), "a png");
        }
    }

    static void ExpectRowsOfBystanders(const std::string& folder) {
        EXPECT_THAT(Column("SELECT target FROM cache WHERE stream = 'NAVODOC_THUMB.png'", "target"),
                    testing::UnorderedElementsAre(folder + "a.docx", folder + "b.docx"));
        EXPECT_THAT(Column("PRAGMA integrity_check", "integrity_check"), ElementsAre("ok"));
    }

    static int CachePdf(const std::string& document) {
        path::Path source;
        source.SetData("realPath", document, true);
        return converter::ToPDFCache(source);
    }

    static int MakeThumbnail(const std::string& document) {
        path::Path source;
        source.SetData("realPath", document, true);
        return converter::ToThumbnail(source);
    }

    static void ExpectNoConversionLeft() {
        EXPECT_THAT(ScratchFiles(), IsEmpty());
        EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
    }

    static void ExpectLogged(const std::string& text) {
        EXPECT_THAT(SyslogSink::Get().Texts(), Contains(HasSubstr(text)));
    }
};

// The documents lie on a small volume, the scratch directories and the index elsewhere.
class VolumeFault : public CacheFault {
protected:
    const std::string kFolder = "/volume2/archive/";
    const std::string kDocument = "/volume2/archive/a.docx";
    const SmallVolume _volume{"/volume2"};

    void SetUp() override {
        if (!_volume) {
            GTEST_SKIP() << "no file system can be mounted here";
        }
        Furnish(kFolder);
    }

    std::string MoveFailure() const {
        return "cache move fail from: " + std::string(kProduct) + ", to: " + StreamsOf(kDocument) +
               kPdf;
    }
};

class FullVolume : public VolumeFault {
protected:
    void SetUp() override {
        VolumeFault::SetUp();
        if (!IsSkipped()) {
            _volume.Fill();
        }
    }
};

class ReadOnlyVolume : public VolumeFault {
protected:
    void SetUp() override {
        VolumeFault::SetUp();
        if (!IsSkipped()) {
            WriteFile(kFolder + "new.docx", "document");
            _volume.MakeReadOnly();
        }
    }
};

// The index lies on a small volume (with the state file, as on a server), the documents elsewhere.
class IndexVolumeFault : public CacheFault {
protected:
    const std::string kFolder = "/volume1/docs/";
    const std::string kDocument = "/volume1/docs/a.docx";
    const SmallVolume _volume{kIndexDir};

    void SetUp() override {
        if (!_volume) {
            GTEST_SKIP() << "no file system can be mounted here";
        }
        WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":0,"used":0}})");
        Furnish(kFolder);
    }
};

std::string RandomBytes(size_t count) {
    std::mt19937 engine(1);  // NOLINT(cert-msc51-cpp,cert-msc32-c): the same ones in every run
    std::string bytes;
    std::generate_n(std::back_inserter(bytes), count, [&] { return static_cast<char>(engine()); });
    return bytes;
}

struct Corruption {
    const char* name;
    std::function<std::string(const std::string& sound)> make;
    bool opens;  // whether the damage is met only by the statements after the first
};

void PrintTo(const Corruption& corruption, std::ostream* out) {
    *out << corruption.name;
}

constexpr size_t kPage = 4096;

const Corruption kCorruptions[] = {
    {"RandomBytes", [](const std::string& sound) { return RandomBytes(sound.size()); }, false},
    {"RandomBytesBehindAValidHeader",
     [](const std::string& sound) {
         return sound.substr(0, 100) + RandomBytes(sound.size() - 100);
     },
     false},
    {"CutInTheFirstPage", [](const std::string& sound) { return sound.substr(0, 1000); }, false},
    {"CutInTheMiddle", [](const std::string& sound) { return sound.substr(0, sound.size() / 2); },
     false},
    {"BrokenPagesBehindTheFirst",
     [](const std::string& sound) {
         return sound.substr(0, kPage) + RandomBytes(sound.size() - kPage);
     },
     true},
};

class CorruptIndex : public CacheFault, public testing::WithParamInterface<Corruption> {
protected:
    const std::string kFolder = "/volume1/docs/";
    const std::string kDocument = "/volume1/docs/a.docx";
    std::string _corrupt;

    void SetUp() override {
        Furnish(kFolder);
        // So many that tables and indices have inner pages too.
        Change(
            "INSERT INTO cache_target WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM "
            "n WHERE i < 2000) SELECT '/volume1/docs/' || i, i FROM n");
        Change(
            "INSERT INTO cache(target, stream, size, access) SELECT path, 's', 10, 1 FROM "
            "cache_target");
        const std::string sound = ReadFile(SZF_CACHE_DB_PATH);
        ASSERT_GT(sound.size(), 50 * kPage);
        _corrupt = GetParam().make(sound);
        WriteFile(SZF_CACHE_DB_PATH, _corrupt);
    }
};

}  // namespace

TEST_F(FullVolume, StreamThatDoesNotFitIsToldAndLeavesNoPartOfItself) {
    WriteFile(kProduct, std::string(kBigProduct, 'p'));
    EXPECT_TRUE(CacheManager(false, 0).Set(kProduct, kDocument, kPdf, true));
    ExpectLogged(MoveFailure());
    EXPECT_FALSE(Exists(StreamsOf(kDocument) + kPdf));
    EXPECT_EQ(ReadFile(kProduct).size(), kBigProduct) << "nothing is lost";
    ExpectBystandersServed(kFolder);
    ExpectRowsOfBystanders(kFolder);
}

TEST_F(FullVolume, StreamThatDoesNotFitLeavesTheOneItWasToReplace) {
    WriteFile(kProduct, std::string(kBigProduct, 'p'));
    EXPECT_TRUE(CacheManager(false, 0).Set(kProduct, kDocument, kPng, true));
    ExpectLogged("cache move fail");
    EXPECT_THAT(Names(StreamsOf(kDocument)), ElementsAre(kPng));
    ExpectBystandersServed(kFolder);
    ExpectRowsOfBystanders(kFolder);
}

TEST_F(FullVolume, PdfThatDoesNotFitLeavesNothingBehind) {
    PlayTool({.productSize = kBigProduct});
    EXPECT_EQ(CachePdf(kDocument), 1000);
    ExpectLogged("cache move fail");
    EXPECT_THAT(Names(StreamsOf(kDocument)), ElementsAre(kPng));
    ExpectNoConversionLeft();
    ExpectBystandersServed(kFolder);
    ExpectRowsOfBystanders(kFolder);
}

TEST_F(FullVolume, ThumbnailThatDoesNotFitIsAFailedOne) {
    PlayTool({.productSize = kBigProduct});
    EXPECT_EQ(MakeThumbnail(kDocument), 1003);
    EXPECT_THAT(Names(StreamsOf(kDocument)), ElementsAre(kMarker));
    ExpectNoConversionLeft();
    EXPECT_EQ(ReadFile(kDocument), "document");
    EXPECT_EQ(Served(kFolder + "b.docx", kPng), "a png");
}

TEST_F(ReadOnlyVolume, StreamsAreServed) {
    ExpectBystandersServed(kFolder);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(ReadOnlyVolume, StreamCannotBeStoredAndIsTold) {
    WriteFile(kProduct, "a pdf");
    EXPECT_TRUE(CacheManager(false, 0).Set(kProduct, kDocument, kPdf, true));
    ExpectLogged(MoveFailure());
    EXPECT_EQ(ReadFile(kProduct), "a pdf") << "nothing is lost";
    ExpectBystandersServed(kFolder);
    ExpectRowsOfBystanders(kFolder);
}

TEST_F(ReadOnlyVolume, DocumentWithoutADirectoryGetsNone) {
    WriteFile(kProduct, "a pdf");
    EXPECT_FALSE(CacheManager(false, 0).Set(kProduct, kFolder + "new.docx", kPdf, true));
    EXPECT_EQ(ReadFile(kProduct), "a pdf") << "nothing is lost";
    ExpectRowsOfBystanders(kFolder);
}

TEST_F(ReadOnlyVolume, PdfThatCannotBeKeptLeavesNothingBehind) {
    EXPECT_EQ(CachePdf(kDocument), 1000);
    ExpectLogged("cache move fail");
    EXPECT_EQ(CachePdf(kFolder + "new.docx"), 1000);
    ExpectLogged("Failed to cache");
    ExpectNoConversionLeft();
    ExpectBystandersServed(kFolder);
}

TEST_F(ReadOnlyVolume, ThumbnailIsNotTried) {
    EXPECT_EQ(MakeThumbnail(kDocument), 1003);
    ExpectLogged("! errMgr.Touch()");
    EXPECT_THAT(DockerCalls(), IsEmpty());
    ExpectNoConversionLeft();
    ExpectBystandersServed(kFolder);
}

TEST_F(IndexVolumeFault, FullLeavesTheStreamsWorkingAndTheRowsAsTheyWere) {
    _volume.Fill();
    WriteFile(kProduct, "a pdf");
    EXPECT_TRUE(CacheManager(true, 1 << 30).Set(kProduct, kDocument, kPdf, true));
    ExpectLogged("cache set insert DB fail " + kDocument + ", stream: " + kPdf);
    EXPECT_EQ(Served(kDocument, kPdf), "a pdf");
    ExpectBystandersServed(kFolder);
    ExpectRowsOfBystanders(kFolder);
}

TEST_F(IndexVolumeFault, FullKeepsTheConversionsResult) {
    const Json::Value before = State();
    _volume.Fill();
    EXPECT_EQ(CachePdf(kDocument), 1000);
    ExpectLogged("cache set insert DB fail");
    EXPECT_EQ(Served(kDocument, kPdf), std::string(100, 'p'));
    ExpectNoConversionLeft();
    for (const std::string& name : before.getMemberNames()) {
        EXPECT_TRUE(State().isMember(name)) << name;
    }
}

TEST_F(IndexVolumeFault, FullBeforeThereIsAnIndexLeavesTheStreamsServed) {
    unlink(SZF_CACHE_DB_PATH);
    _volume.Fill();
    const CacheManager cache(false, 0);
    EXPECT_FALSE(cache.opened);
    ExpectLogged("create db failed");
    ExpectBystandersServed(kFolder);
}

TEST_F(IndexVolumeFault, ReadOnlyLeavesTheStreamsWorkingAndTheRowsAsTheyWere) {
    _volume.MakeReadOnly();
    WriteFile(kProduct, "a pdf");
    EXPECT_TRUE(CacheManager(true, 1 << 30).Set(kProduct, kDocument, kPdf, true));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                AllOf(Contains(HasSubstr("cache set insert DB fail " + kDocument)),
                      Contains(HasSubstr("attempt to write a readonly database"))));
    EXPECT_EQ(Served(kDocument, kPdf), "a pdf");
    ExpectBystandersServed(kFolder);
    ExpectRowsOfBystanders(kFolder);
}

TEST_F(IndexVolumeFault, DirectoryInTheIndexsPlaceKeepsTheConversionsResult) {
    unlink(SZF_CACHE_DB_PATH);
    MakeDirectory(SZF_CACHE_DB_PATH);
    EXPECT_EQ(CachePdf(kDocument), 1000);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                AllOf(Contains(HasSubstr("open db failed")),
                      Contains(HasSubstr("CacheManager's DB is broken"))));
    EXPECT_FALSE(Exists(StreamsOf(kDocument) + kPdf));
    ExpectNoConversionLeft();
    ExpectBystandersServed(kFolder);
}

TEST_P(CorruptIndex, IsToldLeftAsItIsAndCostsNoStream) {
    WriteFile(kProduct, "a pdf");
    EXPECT_TRUE(CacheManager(true, 1).Set(kProduct, kDocument, kPdf, true));
    const std::vector<std::string> messages = SyslogSink::Get().Texts();
    EXPECT_THAT(messages, Contains(HasSubstr("cache set insert DB fail " + kDocument)));
    EXPECT_THAT(messages, Contains(HasSubstr("calculate GC size fail")));
    EXPECT_EQ(Served(kDocument, kPdf), "a pdf");
    ExpectBystandersServed(kFolder);
    EXPECT_TRUE(ReadFile(SZF_CACHE_DB_PATH) == _corrupt) << "it has been written to";
}

TEST_P(CorruptIndex, KeepsTheConversionsResultAndLeavesNothingBehind) {
    EXPECT_EQ(CachePdf(kDocument), 1000);
    ExpectLogged(GetParam().opens ? "cache set insert DB fail" : "CacheManager's DB is broken");
    EXPECT_EQ(Exists(StreamsOf(kDocument) + kPdf), GetParam().opens);
    ExpectNoConversionLeft();
    ExpectBystandersServed(kFolder);
}

TEST_P(CorruptIndex, IsNotNeededForAThumbnail) {
    EXPECT_EQ(MakeThumbnail(kDocument), 1000);
    EXPECT_EQ(ReadFile(StreamsOf(kDocument) + kPng), std::string(100, 'p'));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_P(CorruptIndex, IsMadeAnewWhenItIsRemoved) {
    unlink(SZF_CACHE_DB_PATH);
    ExpectBystandersServed(kFolder);
    EXPECT_EQ(CachePdf(kDocument), 1000);
    EXPECT_THAT(Column("SELECT stream FROM cache", "stream"), ElementsAre(kPdf));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Of, CorruptIndex, testing::ValuesIn(kCorruptions),
                         [](const auto& corruption) { return corruption.param.name; });

class StreamFault : public CacheFault {
protected:
    const std::string kFolder = "/volume1/docs/";
    const std::string kDocument = "/volume1/docs/a.docx";

    StreamFault() { Furnish(kFolder); }

    // A file where the directory of the document's streams was.
    void ReplaceDirectory() const {
        std::filesystem::remove_all(StreamsOf(kDocument));
        WriteFile(Place(), "somebody's file");
    }
    std::string Place() const { return EADirectoryOf(kDocument); }

    void ExpectOnlyTheOthersServed() const {
        EXPECT_EQ(ReadFile(Place()), "somebody's file");
        EXPECT_EQ(ReadFile(kDocument), "document");
        EXPECT_EQ(Served(kDocument, kPng), "(none)");
        EXPECT_EQ(Served(kFolder + "b.docx", kPng), "a png");
    }
};

TEST_F(StreamFault, RemovedBehindTheIndexCanBeStoredAgain) {
    unlink((StreamsOf(kDocument) + kPng).c_str());
    EXPECT_EQ(Served(kDocument, kPng), "(none)");
    WriteFile(kProduct, "a png");
    EXPECT_TRUE(CacheManager(false, 0).Set(kProduct, kDocument, kPng, true));
    ExpectBystandersServed(kFolder);
    ExpectRowsOfBystanders(kFolder);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(StreamFault, CachedPdfRemovedBehindTheIndexIsNoneForTheThumbnail) {
    EXPECT_EQ(CachePdf(kDocument), 1000);
    unlink((StreamsOf(kDocument) + kPdf).c_str());
    EXPECT_EQ(MakeThumbnail(kDocument), 1000);
    EXPECT_EQ(DockerCalls().at(1).at(6), "unoconv") << "from the document again";
}

TEST_F(StreamFault, FileInTheDirectorysPlaceTakesNoStream) {
    ReplaceDirectory();
    WriteFile(kProduct, "a pdf");
    EXPECT_FALSE(CacheManager(false, 0).Set(kProduct, kDocument, kPdf, true));
    EXPECT_EQ(ReadFile(kProduct), "a pdf") << "nothing is lost";
    ExpectOnlyTheOthersServed();
    ExpectRowsOfBystanders(kFolder);
}

TEST_F(StreamFault, FileInTheDirectorysPlaceKeepsTheConversionsResult) {
    ReplaceDirectory();
    EXPECT_EQ(CachePdf(kDocument), 1000);
    ExpectLogged("Failed to cache");
    ExpectNoConversionLeft();
    ExpectOnlyTheOthersServed();
}

TEST_F(StreamFault, FileInTheDirectorysPlaceIsNoThumbnail) {
    ReplaceDirectory();
    EXPECT_EQ(MakeThumbnail(kDocument), 1003);
    ExpectLogged("! errMgr.Touch()");
    ExpectNoConversionLeft();
    ExpectOnlyTheOthersServed();
}

TEST_F(StreamFault, FileInTheDirectorysPlaceStopsNoCollection) {
    ReplaceDirectory();
    CacheManager(false, 1).GarbageCollect();
    EXPECT_THAT(Column("SELECT target FROM cache", "target"), ElementsAre(kDocument))
        << "what cannot be found is neither removed nor counted";
    EXPECT_EQ(ReadFile(Place()), "somebody's file");
    EXPECT_FALSE(Exists(StreamsOf(kFolder + "b.docx") + kPng));
}

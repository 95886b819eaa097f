// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <map>

#include "Corpus.h"
#include "Process.h"
#include "RealTools.h"
#include "vellumo/Converter.h"

using namespace vellumo::test;
using namespace NAVO::VELLUMO;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

bool IsBook(const CorpusFile& document) {
    return converter::CalibreConverter::_supportTypeSet.contains(document.type);
}

// A book without a picture in front has no cover to give.
bool HasCover(const std::string& book) {
    const std::string cover = "/device/cover";
    std::filesystem::remove(cover);
    RunProgram({"env", "QT_QPA_PLATFORM=offscreen", "QTWEBENGINE_DISABLE_SANDBOX=1", "ebook-meta",
                "--get-cover=" + cover, book});
    return Exists(cover);
}

std::string Sample(const std::string& name) {
    return std::string(VELLUMO_SAMPLES) + "/" + name;
}

// A book with a cover.
std::string SoundMobi() {
    std::string book = "/device/sound.mobi";
    RunProgram({"env", "QT_QPA_PLATFORM=offscreen", "QTWEBENGINE_DISABLE_SANDBOX=1",
                "ebook-convert", Sample("book.epub"), book});
    return book;
}

// A document that the tools take for a sound one of `type`; most of them look at the content alone.
std::string SoundDocument(const std::string& type) {
    static const std::map<std::string, std::string> kSamples = {
        {"pdf", "brochure.pdf"}, {"xlsx", "budget.xlsx"}, {"epub", "book.epub"}};
    if (type == "mobi") {
        return SoundMobi();
    }
    const auto sample = kSamples.find(type);
    return Sample(sample == kSamples.end() ? "letter.docx" : sample->second);
}

class CorpusDocument : public RealToolsTest {
public:
    explicit CorpusDocument(CorpusFile document)
        : RealToolsTest(Offices::kWarm),
          _document(std::move(document)),
          _file(CorpusFolder() + "/" + _document.file),
          _name(std::filesystem::path(_file).filename()) {}

protected:
    static void ExpectFailed(int result) {
        EXPECT_TRUE(result == 1001 || result == 1002) << result;
    }

    CorpusFile _document;
    std::string _file;
    std::string _name;
};

// Of the whole document a PDF for the cache, and of that a thumbnail.
class WholeDocument : public CorpusDocument {
public:
    using CorpusDocument::CorpusDocument;

    void TestBody() override {
        const std::string document = PutIntoShare(_file, _name);
        const int result = CachePdf(document);
        if (_document.converts) {
            EXPECT_EQ(result, 1000);
            ExpectPdfAt(StreamsOf(document) + "NAVODOC_THUMB.pdf", 0);
            ExpectThumbnailOfCachedPdf(document);
        } else {
            ExpectFailed(result);
            EXPECT_THAT(Names(StreamsOf(document)), IsEmpty());
        }
        ExpectNothingLeft();
    }

private:
    static void ExpectThumbnailOfCachedPdf(const std::string& document) {
        const size_t before = ToolsRun().size();
        EXPECT_EQ(MakeThumbnail(document), 1000);
        std::vector<std::string> tools = ToolsRun();
        tools.erase(tools.begin(), tools.begin() + static_cast<ptrdiff_t>(before));
        EXPECT_THAT(tools, ElementsAre("pdftk", "convert")) << "not from the cached PDF alone";
        const std::string streams = StreamsOf(document);
        EXPECT_THAT(Names(streams), ElementsAre("NAVODOC_THUMB.pdf", "NAVODOC_THUMB.png"));
        ExpectThumbnail(streams + "NAVODOC_THUMB.png", streams + "NAVODOC_THUMB.pdf");
    }
};

// Of the first page a PDF, or of a book its cover; where there is none to be had, a thumbnail is
// tried, which fails in the same way and remembers it.
class FirstPage : public CorpusDocument {
public:
    using CorpusDocument::CorpusDocument;

    void TestBody() override {
        if (_document.converts && (!IsBook(_document) || HasCover(_file))) {
            EXPECT_EQ(Convert(_file, _name, "1-1"), 1000);
            IsBook(_document) ? ExpectPicture() : ExpectPdf(1);
        } else {
            ExpectFailedThumbnailAndRecovery();
        }
        ExpectNothingLeft();
    }

private:
    void ExpectFailedThumbnailAndRecovery() {
        const std::string document = PutIntoShare(_file, _name);
        ExpectFailed(MakeThumbnail(document));
        EXPECT_THAT(Names(StreamsOf(document)), ElementsAre("NAVODOC_THUMB.png.err.0063"));
        PutIntoShare(SoundDocument(_document.type), _name);
        EXPECT_EQ(MakeThumbnail(document), 1000);
        EXPECT_THAT(Names(StreamsOf(document)), ElementsAre("NAVODOC_THUMB.png"));
        ExpectNotBlank(StreamsOf(document) + "NAVODOC_THUMB.png");
    }
};

class Corpus : public ::testing::Test {};

TEST_F(Corpus, IsPresent) {
    if (CorpusFolder().empty()) {
        GTEST_SKIP() << "VELLUMO_CORPUS does not name the folder with the corpus";
    }
    EXPECT_FALSE(CorpusFiles().empty()) << "no documents in " << CorpusFolder();
}

template <typename Test>
void Register(const CorpusFile& document, const std::string& what) {
    testing::RegisterTest("CorpusDocument", (document.file + what).c_str(), nullptr, nullptr,
                          __FILE__, __LINE__,
                          [=]() -> CorpusDocument* { return new Test(document); });
}

const bool registered = [] {
    if (CorpusFolder().empty()) {
        return false;
    }
    bool wholeFirst = false;  // by turns, so that every second test is not the same kind of work
    for (const CorpusFile& document : CorpusFiles()) {
        wholeFirst = !wholeFirst;
        if (wholeFirst) {
            Register<WholeDocument>(document, " whole");
        }
        Register<FirstPage>(document, " page 1");
        if (!wholeFirst) {
            Register<WholeDocument>(document, " whole");
        }
    }
    return true;
}();

}  // namespace

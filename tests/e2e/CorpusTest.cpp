// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Process.h"
#include "RealTools.h"
#include "vellumo/Converter.h"

using namespace vellumo::test;

// Documents from other projects' test suites, of every file type and with every kind of fault. They
// lie outside the tree; VELLUMO_CORPUS names the folder, in which MANIFEST.tsv lists them: the file
// first on each line, and what must become of it last.
namespace {

struct Document {
    std::string file;  // in the folder
    std::string type;
    bool converts;
};

std::string CorpusFolder() {
    const char* folder = std::getenv("VELLUMO_CORPUS");
    return folder == nullptr ? "" : folder;
}

// What was seen to become of a document goes before what had been expected.
bool Converts(const std::string& note) {
    if (note.find("OBSERVED: soffice 7.4.7 prints \"source file could not be loaded\"") !=
        std::string::npos) {
        return false;
    }
    return note.starts_with("converts");
}

std::vector<Document> Documents() {
    std::vector<Document> documents;
    std::ifstream manifest(CorpusFolder() + "/MANIFEST.tsv");
    std::string line;
    std::getline(manifest, line);  // the names of the columns
    while (std::getline(manifest, line)) {
        std::vector<std::string> columns;
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, '\t');) {
            columns.push_back(cell);
        }
        documents.push_back({columns.at(0), columns.at(1), Converts(columns.back())});
    }
    return documents;
}

bool IsBook(const Document& document) {
    return NAVO::VELLUMO::converter::CalibreConverter::_supportTypeSet.contains(document.type);
}

// A book without a picture in front has no cover to give.
bool HasCover(const std::string& book) {
    const std::string cover = "/device/cover";
    std::filesystem::remove(cover);
    RunProgram({"env", "QT_QPA_PLATFORM=offscreen", "QTWEBENGINE_DISABLE_SANDBOX=1", "ebook-meta",
                "--get-cover=" + cover, book});
    return Exists(cover);
}

class CorpusDocument : public RealToolsTest {
public:
    CorpusDocument(Document document, const char* pages)
        : _document(std::move(document)), _pages(pages) {}

    void TestBody() override {
        const std::string file = CorpusFolder() + "/" + _document.file;
        const bool asksForCover = IsBook(_document) && _pages != nullptr;
        const int result = Convert(file, std::filesystem::path(file).filename(), _pages);
        if (_document.converts && (!asksForCover || HasCover(file))) {
            EXPECT_EQ(result, 1000);
            asksForCover ? ExpectPicture() : ExpectPdf(_pages == nullptr ? 0 : 1);
        } else {
            EXPECT_TRUE(result == 1001 || result == 1002) << result;
            EXPECT_EQ(_product, "");
        }
        ExpectNothingLeft();
    }

private:
    Document _document;
    const char* _pages;
};

class Corpus : public ::testing::Test {};

TEST_F(Corpus, IsPresent) {
    if (CorpusFolder().empty()) {
        GTEST_SKIP() << "VELLUMO_CORPUS does not name the folder with the corpus";
    }
    EXPECT_FALSE(Documents().empty()) << "no documents in " << CorpusFolder();
}

void Register(const Document& document, const char* pages) {
    const std::string name = document.file + (pages == nullptr ? " whole" : " page 1");
    testing::RegisterTest("CorpusDocument", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [=]() -> CorpusDocument* { return new CorpusDocument(document, pages); });
}

const bool registered = [] {
    if (!CorpusFolder().empty()) {
        for (const Document& document : Documents()) {
            Register(document, nullptr);
            Register(document, "1-1");
        }
    }
    return true;
}();

}  // namespace

// SPDX-License-Identifier: Apache-2.0
#include "RealTools.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Process.h"
#include "StateFile.h"
#include "vellumo/Converter.h"

namespace vellumo::test {
namespace {

constexpr const char* kScratch = "/volume1/docker/@tmp/Vellumo/@tmp";

int PagesOf(const std::string& pdf) {
    const Finished info = RunProgram({"pdfinfo", pdf});
    const size_t at = info.output.find("Pages:");
    return info.status != 0 || at == std::string::npos ? 0 : std::atoi(&info.output[at + 6]);
}

}  // namespace

RealToolsTest::RealToolsTest() {
    UseEmbeddedEngine();
}

std::string RealToolsTest::PutIntoShare(const std::string& document, const std::string& name) {
    std::string place = "/volume1/docs/" + name;
    std::filesystem::copy_file(document, place, std::filesystem::copy_options::overwrite_existing);
    chmod(place.c_str(), 0600);
    if (HasOtherUsers()) {
        EXPECT_EQ(chown(place.c_str(), 12345, 12345), 0);
    }
    return place;
}

int RealToolsTest::Convert(const std::string& document, const std::string& name,
                           const char* pages) {
    using namespace NAVO::VELLUMO;
    PutIntoShare(document, name);
    path::Path source;
    path::Path product;
    source.SetData("sharePath", "/docs/" + name, true);
    const int result = converter::ToPDF(source, product, pages);
    _product = product.GetRealPath();
    return result;
}

void RealToolsTest::ExpectPdf(int pages, std::string* text) const {
    const int found = PagesOf(_product);
    EXPECT_GT(found, 0) << _product << " is no PDF";
    if (pages != 0) {
        EXPECT_EQ(found, pages);
    }
    const Finished textOfPdf = RunProgram({"pdftotext", _product, "-"});
    EXPECT_EQ(textOfPdf.status, 0);
    if (text != nullptr) {
        *text = textOfPdf.output;
    }
}

void RealToolsTest::ExpectPicture() const {
    EXPECT_EQ(RunProgram({"identify", _product}).status, 0) << _product << " is no picture";
}

void RealToolsTest::ExpectNothingLeft() {
    if (!_product.empty()) {
        EXPECT_EQ(unlink(_product.c_str()), 0) << _product;
    }
    for (const char* directory : {"/source", "/target"}) {
        EXPECT_THAT(Names(kScratch + std::string(directory)), testing::IsEmpty());
    }
    EXPECT_THAT(Names(kScratch), testing::ElementsAre("source", "target"));
    for (const char* container : {"navo1", "navo2"}) {
        EXPECT_EQ(State()[container]["using"], 0) << container;
    }
    EXPECT_EQ(State()["waitingQueue"], Parsed("[{},{},{}]"));
    EXPECT_EQ(State()["runningQueue"], Parsed("{}"));
}

}  // namespace vellumo::test

// SPDX-License-Identifier: Apache-2.0
#include "RealTools.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Process.h"
#include "StateFile.h"
#include "vellumo/Constants.h"
#include "vellumo/Converter.h"

namespace vellumo::test {
namespace {

constexpr const char* kScratch = "/volume1/docker/@tmp/Vellumo/@tmp";
constexpr double kScale = 0.35;        // of a page at 72 dots per inch
constexpr size_t kBitDepthAt = 24;     // in a PNG's header
constexpr size_t kMostBytes = 70'000;  // of a sample's thumbnail

int PagesOf(const std::string& pdf) {
    const Finished info = RunProgram({"pdfinfo", pdf});
    const size_t at = info.output.find("Pages:");
    return info.status != 0 || at == std::string::npos ? 0 : std::atoi(&info.output[at + 6]);
}

struct Size {
    double width = 0;
    double height = 0;
};

Size SizeOfFirstPage(const std::string& pdf) {
    const Finished info = RunProgram({"pdfinfo", pdf});
    const size_t at = info.output.find("Page size:");
    Size size;
    std::string times;
    std::istringstream(at == std::string::npos ? "" : info.output.substr(at + 10)) >> size.width >>
        times >> size.height;
    return size;
}

struct Picture {
    Size size;  // in pixels; 0 when it is no picture
    double brightness = 0;
    double spread = 0;  // of the brightness; 0 for a blank picture
};

// As it looks on white paper, at `scale`.
Picture Measure(const std::string& file, double scale = 1) {
    const Finished measured =
        RunProgram({"convert", file, "-background", "white", "-alpha", "remove", "-colorspace",
                    "gray", "-resize", std::to_string(100 * scale) + "%", "-format",
                    "%w %h %[fx:mean] %[fx:standard_deviation]", "info:"});
    Picture picture;
    std::istringstream(measured.output) >> picture.size.width >> picture.size.height >>
        picture.brightness >> picture.spread;
    return picture;
}

// Drawn large and made smaller, as a thumbnail is: thin lines would be too thick otherwise.
Picture DrawFirstPage(const std::string& pdf) {
    const std::string drawing = "/device/drawing";
    RunProgram({"pdftoppm", "-r", "72", "-f", "1", "-l", "1", "-singlefile", "-png", pdf, drawing});
    const Picture picture = Measure(drawing + ".png", kScale);
    std::filesystem::remove(drawing + ".png");
    return picture;
}

// What a test that failed may have left.
void EmptyScratch() {
    for (const char* directory : {"/source", "/target"}) {
        for (const std::string& name : Names(kScratch + std::string(directory))) {
            std::filesystem::remove_all(kScratch + std::string(directory) + "/" + name);
        }
    }
}

// Those that are there already stay.
void KeepOfficesWarm() {
    UseEmbeddedEngine();
    for (const char* container : {"navo1", "navo2"}) {
        // Not replaced when idle: with two, each is so every second time.
        const Finished start = RunProgram(
            {"env", "VELLUMO_OFFICE_IDLE=600", "/usr/local/bin/docker", "start", container});
        EXPECT_EQ(start.status, 0) << start.output;
    }
}

}  // namespace

RealToolsTest::RealToolsTest(Offices offices)
    : DeviceTest(offices == Offices::kWarm ? "docker" : "") {
    unlink(NAVO::VELLUMO::SZF_CACHE_DB_PATH);
    if (offices == Offices::kWarm) {
        EmptyScratch();
        KeepOfficesWarm();
    }
    UseNotedEngine();
}

std::vector<std::string> RealToolsTest::ToolsRun() {
    std::vector<std::string> tools;
    for (const std::vector<std::string>& command : DockerCalls()) {
        tools.push_back(command.at(6));
    }
    return tools;
}

int RealToolsTest::CachePdf(const std::string& document) {
    NAVO::VELLUMO::path::Path source;
    source.SetData("realPath", document, true);
    return NAVO::VELLUMO::converter::ToPDFCache(source);
}

int RealToolsTest::MakeThumbnail(const std::string& document) {
    NAVO::VELLUMO::path::Path source;
    source.SetData("realPath", document, true);
    return NAVO::VELLUMO::converter::ToThumbnail(source);
}

std::string RealToolsTest::StreamsOf(const std::string& document) {
    return EADirectoryOf(document) + '/';
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
    ExpectPdfAt(_product, pages, text);
}

void RealToolsTest::ExpectPdfAt(const std::string& file, int pages, std::string* text) {
    const int found = PagesOf(file);
    EXPECT_GT(found, 0) << file << " is no PDF";
    if (pages != 0) {
        EXPECT_EQ(found, pages);
    }
    const Finished textOfPdf = RunProgram({"pdftotext", file, "-"});
    EXPECT_EQ(textOfPdf.status, 0);
    if (text != nullptr) {
        *text = textOfPdf.output;
    }
}

void RealToolsTest::ExpectPicture() const {
    EXPECT_EQ(RunProgram({"identify", _product}).status, 0) << _product << " is no picture";
}

void RealToolsTest::ExpectThumbnail(const std::string& picture, const std::string& pdf) {
    const Size page = SizeOfFirstPage(pdf);
    const Picture expected = DrawFirstPage(pdf);
    const Picture found = Measure(picture);
    ASSERT_GT(expected.size.width, 0) << pdf << " cannot be drawn";
    ASSERT_GT(found.size.width, 0) << picture << " is no picture";
    EXPECT_NEAR(found.size.width, page.width * kScale, 1.5);
    EXPECT_NEAR(found.size.height, page.height * kScale, 1.5);
    EXPECT_NEAR(found.brightness, expected.brightness, 0.05);
    EXPECT_GE(found.spread, expected.spread * 0.6) << "blanker than the page";
}

void RealToolsTest::ExpectNotBlank(const std::string& picture) {
    EXPECT_GT(Measure(picture).spread, 0.01) << picture << " is blank or no picture";
}

void RealToolsTest::ExpectSmall(const std::string& picture) {
    const std::string content = ReadFile(picture);
    ASSERT_GT(content.size(), kBitDepthAt) << picture;
    EXPECT_EQ(content.substr(1, 3), "PNG");
    EXPECT_EQ(content[kBitDepthAt], 8) << "bits a channel";
    EXPECT_EQ(content.find("tIME"), std::string::npos) << "tells when it was made";
    EXPECT_LE(content.size(), kMostBytes);
}

// Each warm office has a block of user ids, whose directory a command has only while it runs.
void RealToolsTest::ExpectNothingLeftByTheEngine() {
    int offices = 0;
    int blocks = 0;
    for (const std::string& name : Names(kScratch)) {
        if (name.starts_with(".warm-")) {
            EXPECT_THAT(Names(kScratch + ("/" + name) + "/rooms"), testing::IsEmpty());
            ++offices;
        } else if (name.starts_with(".engine-")) {
            ++blocks;
        } else {
            EXPECT_THAT(name, testing::AnyOf("source", "target"));
        }
    }
    EXPECT_EQ(blocks, offices);
}

void RealToolsTest::ExpectNothingLeft() {
    if (!_product.empty()) {
        EXPECT_EQ(unlink(_product.c_str()), 0) << _product;
    }
    EXPECT_THAT(ScratchFiles(), testing::IsEmpty());
    ExpectNothingLeftByTheEngine();
    for (const char* container : {"navo1", "navo2"}) {
        EXPECT_EQ(State()[container]["using"], 0) << container;
    }
    EXPECT_EQ(State()["waitingQueue"], Parsed("[{},{},{}]"));
    EXPECT_EQ(State()["runningQueue"], Parsed("{}"));
}

}  // namespace vellumo::test

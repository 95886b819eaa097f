// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cmath>
#include <sstream>

#include "Process.h"
#include "RealTools.h"
#include "vellumo/Converter.h"

using namespace vellumo::test;
using namespace NAVO::VELLUMO;

namespace {

struct Size {
    double width;
    double height;
};

Size SizeOfFirstPage(const std::string& pdf) {
    const Finished info = RunProgram({"pdfinfo", pdf});
    const size_t at = info.output.find("Page size:");
    Size size{0, 0};
    std::string times;
    std::istringstream(at == std::string::npos ? "" : info.output.substr(at + 10)) >> size.width >>
        times >> size.height;
    return size;
}

// Width, height and the spread of its brightness (0 for a blank picture) of a picture.
std::vector<double> Measure(const std::string& picture) {
    const Finished measured =
        RunProgram({"identify", "-format", "%w %h %[fx:standard_deviation]", picture});
    std::istringstream text(measured.output);
    return {std::istream_iterator<double>(text), {}};
}

class Thumbnails : public RealToolsTest, public testing::WithParamInterface<const char*> {
protected:
    // Where the streams of the sample lie, once it is in the share.
    std::string _document =
        PutIntoShare(std::string(VELLUMO_SAMPLES) + "/" + GetParam(), GetParam());
    std::string _streams = std::string("/volume1/docs/.navoea/") + GetParam() + "/";
    path::Path _source;

    Thumbnails() {
        unlink("/var/packages/Vellumo/etc/cache.db");
        _source.SetData("realPath", _document, true);
    }
};

std::string TestName(const testing::TestParamInfo<const char*>& info) {
    const std::string name = info.param;
    return name.substr(name.rfind('.') + 1);
}

}  // namespace

TEST_P(Thumbnails, AreTheFirstPageAtAThirdOfItsSize) {
    EXPECT_EQ(converter::ToPDFCache(_source), 1000);
    EXPECT_EQ(converter::ToThumbnail(_source), 1000);
    EXPECT_THAT(Names(_streams), testing::ElementsAre("NAVODOC_THUMB.pdf", "NAVODOC_THUMB.png"));

    const Size page = SizeOfFirstPage(_streams + "NAVODOC_THUMB.pdf");
    const std::vector<double> picture = Measure(_streams + "NAVODOC_THUMB.png");
    ASSERT_EQ(picture.size(), 3U) << "no picture";
    EXPECT_NEAR(picture[0], page.width * 0.35, 1.5);
    EXPECT_NEAR(picture[1], page.height * 0.35, 1.5);
    EXPECT_GT(picture[2], 0.01) << "a blank picture";
    ExpectNothingLeft();
}

TEST_P(Thumbnails, AreMadeWithoutACachedPdfToo) {
    EXPECT_EQ(converter::ToThumbnail(_source), 1000);
    EXPECT_THAT(Names(_streams), testing::ElementsAre("NAVODOC_THUMB.png"));
    const std::vector<double> picture = Measure(_streams + "NAVODOC_THUMB.png");
    ASSERT_EQ(picture.size(), 3U) << "no picture";
    EXPECT_GT(picture[2], 0.01) << "a blank picture";
    ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Of, Thumbnails,
                         testing::Values("letter.docx", "report.odt", "budget.xlsx",
                                         "inventory.ods", "slides.odp", "pitch.pptx",
                                         "floorplan.odg", "book.epub", "brochure.pdf"),
                         TestName);

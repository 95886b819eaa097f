// SPDX-License-Identifier: Apache-2.0
#include "RealTools.h"

using namespace vellumo::test;
using testing::ElementsAre;

namespace {

class Thumbnails : public RealToolsTest, public testing::WithParamInterface<const char*> {
protected:
    std::string _document =
        PutIntoShare(std::string(VELLUMO_SAMPLES) + "/" + GetParam(), GetParam());
    std::string _streams = StreamsOf(_document);
};

std::string TestName(const testing::TestParamInfo<const char*>& info) {
    const std::string name = info.param;
    return name.substr(name.rfind('.') + 1);
}

}  // namespace

TEST_P(Thumbnails, AreTheFirstPageAtAThirdOfItsSizeInFewBytes) {
    EXPECT_EQ(CachePdf(_document), 1000);
    EXPECT_EQ(MakeThumbnail(_document), 1000);
    EXPECT_THAT(Names(_streams), ElementsAre("NAVODOC_THUMB.pdf", "NAVODOC_THUMB.png"));
    ExpectThumbnail(_streams + "NAVODOC_THUMB.png", _streams + "NAVODOC_THUMB.pdf");
    ExpectSmall(_streams + "NAVODOC_THUMB.png");
    ExpectNothingLeft();
}

TEST_P(Thumbnails, AreMadeWithoutACachedPdfToo) {
    EXPECT_EQ(MakeThumbnail(_document), 1000);
    EXPECT_THAT(Names(_streams), ElementsAre("NAVODOC_THUMB.png"));
    ExpectNotBlank(_streams + "NAVODOC_THUMB.png");
    ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Of, Thumbnails,
                         testing::Values("letter.docx", "report.odt", "budget.xlsx",
                                         "inventory.ods", "slides.odp", "pitch.pptx",
                                         "floorplan.odg", "book.epub", "brochure.pdf"),
                         TestName);

// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "RealTools.h"

using namespace vellumo::test;

namespace {

// One sample of each family, and how many pages it has (0: any number, it depends on the fonts).
struct Sample {
    const char* file;
    int pages;
    bool isBook;
};

const Sample kSamples[] = {
    {"letter.docx", 0, false},   {"report.odt", 0, false}, {"budget.xlsx", 0, false},
    {"inventory.ods", 0, false}, {"slides.odp", 5, false}, {"pitch.pptx", 3, false},
    {"floorplan.odg", 2, false}, {"book.epub", 0, true},   {"brochure.pdf", 4, false},
};

std::string SampleFile(const std::string& file) {
    return std::string(VELLUMO_SAMPLES) + "/" + file;
}

class Samples : public RealToolsTest, public testing::WithParamInterface<Sample> {};

std::string TestName(const testing::TestParamInfo<Sample>& info) {
    return std::filesystem::path(info.param.file).extension().string().substr(1);
}

std::string NumberedName(const testing::TestParamInfo<const char*>& info) {
    return "number" + std::to_string(info.index);
}

class AwkwardNames : public RealToolsTest, public testing::WithParamInterface<const char*> {};

}  // namespace

TEST_P(Samples, ConvertWhole) {
    const Sample& sample = GetParam();
    EXPECT_EQ(Convert(SampleFile(sample.file), sample.file, nullptr), 1000);
    std::string text;
    ExpectPdf(sample.pages, &text);
    EXPECT_THAT(text, testing::ContainsRegex("[A-Za-z]{3}")) << "a PDF without words";
    ExpectNothingLeft();
}

TEST_P(Samples, ConvertByTheirFirstPage) {
    const Sample& sample = GetParam();
    EXPECT_EQ(Convert(SampleFile(sample.file), sample.file, "1-1"), 1000);
    if (sample.isBook) {
        ExpectPicture();
    } else {
        ExpectPdf(1);
    }
    ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Family, Samples, testing::ValuesIn(kSamples), TestName);

TEST_P(AwkwardNames, Convert) {
    EXPECT_EQ(RealToolsTest::Convert(SampleFile("brochure.pdf"), GetParam(), "1-1"), 1000);
    ExpectPdf(1);
    ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Of, AwkwardNames,
                         testing::Values("two  blanks .pdf", "it's \"quoted\".pdf", "-rf.pdf",
                                         "--help.pdf",
                                         "Gr\xc3\xb6\xc3\x9f"
                                         "e.pdf",
                                         "\xe6\x96\x87\xe4\xbb\xb6.pdf", "latin1 \xe4.pdf",
                                         "$(reboot);`id`&|.pdf", "[a-z]*?.pdf", "new\nline.pdf",
                                         "100%s%n.PDF"),
                         NumberedName);

class EmptyDocument : public RealToolsTest, public testing::WithParamInterface<const char*> {};

TEST_P(EmptyDocument, IsNoBlankPage) {
    WriteFile("/device/empty", "");
    EXPECT_EQ(Convert("/device/empty", GetParam(), nullptr), 1002);
    ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Of, EmptyDocument, testing::Values("a.docx", "a.xlsx", "a.odp", "a.pdf"),
                         NumberedName);

// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

#include "vellumo/Constants.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace NAVO::VELLUMO::converter;
using testing::ElementsAre;
using testing::UnorderedElementsAreArray;

namespace {

constexpr auto kPriority = ContainerPoolManager::PRIORITY_NORMAL;
const std::string kSource = "/Vellumo/@tmp/source/a1B2c3.src";
const std::string kTarget = "/Vellumo/@tmp/target/Qx81Zp.tgt";

// The command of a converter whose scratch files are known, with or without a page range.
template <typename Converter>
std::vector<std::string> Command(const char* pageRange = nullptr) {
    Converter converter(kPriority);
    converter._tmpSrcPath.SetData("realPath", "/volume1/docker/@tmp" + kSource, true);
    converter._tmpTgtPath.SetData("realPath", "/volume1/docker/@tmp" + kTarget, true);
    if (pageRange != nullptr) {
        converter._options["PageRange"] = pageRange;
    }
    std::vector<std::string> argv{"left", "over"};
    converter.GetCommand(argv);
    const std::vector<std::string> first = argv;
    converter.GetCommand(argv);
    EXPECT_EQ(argv, first) << "a second call yields the same vector";
    return argv;
}

template <typename Converter>
bool NeedsSameName() {
    return Converter(kPriority).IsNeedSameFolder();
}

}  // namespace

TEST(Converters, LibreOfficeNamesTheOutputDirectory) {
    const std::vector<std::string> expected{"soffice", "--headless", "--convert-to",
                                            "pdf",     "--outdir",   "/Vellumo/@tmp/target/",
                                            kSource};
    EXPECT_EQ(Command<LibreOfficeConverter>(), expected);
    EXPECT_EQ(Command<LibreOfficeConverter>("1-1"), expected);
}

TEST(Converters, UnoconvTakesAPageRange) {
    EXPECT_THAT(Command<UnoconvConverter>(),
                ElementsAre("unoconv", "-o", kTarget, "--format=pdf", kSource));
    EXPECT_THAT(
        Command<UnoconvConverter>("1-1"),
        ElementsAre("unoconv", "-o", kTarget, "--format=pdf", "-e", "PageRange=1-1", kSource));
    EXPECT_THAT(Command<UnoconvConverter>(""),
                ElementsAre("unoconv", "-o", kTarget, "--format=pdf", "-e", "PageRange=", kSource));
}

TEST(Converters, SpreadsheetsAreFittedToThePagesWidth) {
    EXPECT_THAT(
        Command<UnoconvSpreadSheetConverter>(),
        ElementsAre("unoconv", "-o", kTarget, "--format=pdf", "--spreadsheet-fitpage=x", kSource));
    EXPECT_THAT(Command<UnoconvSpreadSheetConverter>("2-3"),
                ElementsAre("unoconv", "-o", kTarget, "--format=pdf", "--spreadsheet-fitpage=x",
                            "-e", "PageRange=2-3", kSource));
}

TEST(Converters, PdftkCutsPages) {
    EXPECT_THAT(Command<PdftkConverter>("1-1"),
                ElementsAre("pdftk", "A=" + kSource, "cat", "A1-1", "output", kTarget));
    EXPECT_THAT(Command<PdftkConverter>(),
                ElementsAre("pdftk", "A=" + kSource, "cat", "A", "output", kTarget));
}

TEST(Converters, ImageMagickRendersThePage) {
    EXPECT_THAT(Command<ImageMagickConverter>(),
                ElementsAre("convert", "-define", "pdf:use-cropbox=true", "-density", "72",
                            "-resize", "35%", kSource, kTarget));
}

TEST(Converters, CalibreConvertsBooksWithMargins) {
    EXPECT_THAT(Command<CalibreConverter>(),
                ElementsAre("ebook-convert", kSource, kTarget, "--margin-bottom", "20",
                            "--margin-left", "20", "--margin-right", "20", "--margin-top", "20"));
}

TEST(Converters, CalibreThumbnailTakesTheCover) {
    EXPECT_THAT(Command<CalibreThumbnailConverter>("1-1"),
                ElementsAre("ebook-meta", "--get-cover=" + kTarget, kSource));
}

TEST(Converters, PageRangeThatIsNoTextIsEmpty) {
    PdftkConverter converter(kPriority);
    converter._options["PageRange"] = Json::Value(Json::objectValue);
    std::vector<std::string> argv;
    EXPECT_NO_THROW(converter.GetCommand(argv));
    EXPECT_EQ(argv.at(3), "A");
    converter._options = Json::Value(Json::arrayValue);
    EXPECT_NO_THROW(converter.GetCommand(argv));
}

TEST(Converters, OnlyLibreOfficeNeedsTheSameName) {
    EXPECT_TRUE(NeedsSameName<LibreOfficeConverter>());
    EXPECT_FALSE(NeedsSameName<UnoconvConverter>());
    EXPECT_FALSE(NeedsSameName<UnoconvSpreadSheetConverter>());
    EXPECT_FALSE(NeedsSameName<PdftkConverter>());
    EXPECT_FALSE(NeedsSameName<ImageMagickConverter>());
    EXPECT_FALSE(NeedsSameName<CalibreConverter>());
    EXPECT_FALSE(NeedsSameName<CalibreThumbnailConverter>());
}

TEST(Converters, TypesAreThoseOfTheTools) {
    const std::set<std::string> office{
        "odm", "odt", "ott", "sxw", "stw", "fodt", "docx", "docm", "dotx", "dotm", "doc",  "dot",
        "wps", "rtf", "odp", "otp", "sti", "sxd",  "fodp", "pptx", "pptm", "ppsx", "potm", "potx",
        "ppt", "pps", "pot", "odg", "otg", "std",  "cdr",  "cmx",  "vdx",  "vsd",  "vsdm", "vsdx"};
    EXPECT_EQ(office.size(), 36U);
    EXPECT_EQ(LibreOfficeConverter::_supportTypeSet, office);
    EXPECT_EQ(UnoconvConverter::_supportTypeSet, office);
    EXPECT_THAT(UnoconvSpreadSheetConverter::_supportTypeSet,
                UnorderedElementsAreArray({"odc", "ods", "ots", "sxc", "stc", "fods", "xlsx",
                                           "xlsm", "xltm", "xltx", "xlsb", "xls", "xlc", "xlm",
                                           "xlw", "xlk", "xlt"}));
    EXPECT_THAT(PdftkConverter::_supportTypeSet, ElementsAre("pdf"));
    EXPECT_THAT(ImageMagickConverter::_supportTypeSet, ElementsAre("pdf"));
    EXPECT_THAT(CalibreConverter::_supportTypeSet, ElementsAre("epub", "mobi"));
    EXPECT_THAT(CalibreThumbnailConverter::_supportTypeSet, ElementsAre("epub", "mobi"));
}

TEST(Converters, AllTypesTogetherAreThePackagesList) {
    std::set<std::string> all;
    for (const auto* types :
         {&LibreOfficeConverter::_supportTypeSet, &UnoconvSpreadSheetConverter::_supportTypeSet,
          &PdftkConverter::_supportTypeSet, &CalibreConverter::_supportTypeSet}) {
        all.insert(types->begin(), types->end());
    }
    std::set<std::string> listed;
    std::istringstream list(SZF_SUPPORT_FILE_TYPES);
    for (std::string type; std::getline(list, type, ',');) {
        listed.insert(type);
    }
    EXPECT_EQ(all, listed);
}

TEST(Converters, StartWithTheirPriorityAndNothingElse) {
    const PdftkConverter converter(ContainerPoolManager::PRIORITY_LOW);
    EXPECT_EQ(converter._priority, ContainerPoolManager::PRIORITY_LOW);
    EXPECT_TRUE(converter._options.isNull());
    EXPECT_EQ(converter._tmpSrcPath.GetRealPath("none"), "none");
    EXPECT_EQ(converter._tmpTgtPath.GetRealPath("none"), "none");
}

TEST(Converters, HaveNoVirtualDestructor) {
    EXPECT_FALSE(std::has_virtual_destructor_v<ConverterBase>);
}

// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <sstream>

#include "Device.h"
#include "PlatformDouble.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "vellumo/Constants.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

class ToPDFTest : public DeviceTest {
protected:
    ToPDFTest() { PlatformDouble::Get().Reset(); }
    ~ToPDFTest() override { PlatformDouble::Get().Reset(); }

    int Convert(const std::string& type, const char* pageRange) {
        const std::string document = "/volume1/docs/document." + type;
        WriteFile(document, "%PDF-1.4 content");
        path::Path source;
        source.SetData("realPath", document, true);
        errno = 0;
        return converter::ToPDF(source, _product, pageRange);
    }

    // The tool's part of the last command line.
    static std::vector<std::string> ToolCommand() {
        std::vector<std::string> call = DockerCalls().at(DockerCalls().size() - 1);
        return {call.begin() + 6, call.end()};
    }
    static std::string Container() { return DockerCalls().back().at(2); }

    path::Path _product;
};

bool Holds(const std::vector<std::string>& command, const std::string& element) {
    return std::find(command.begin(), command.end(), element) != command.end();
}

}  // namespace

TEST_F(ToPDFTest, FileWithoutExtensionIsRefusedWithOrWithoutPages) {
    for (const char* pages : {static_cast<const char*>(nullptr), "1-1"}) {
        path::Path source;
        source.SetData("realPath", "/volume1/docs/README", true);
        errno = 0;
        EXPECT_EQ(converter::ToPDF(source, _product, pages), 1003);
        EXPECT_THAT(
            SyslogSink::Get().Messages(),
            ElementsAre(LogMessage{LOG_USER | LOG_ERR,
                                   Logged("Converter", 321, "Failed [strSrcType.empty()]")}));
    }
    EXPECT_FALSE(Exists("/volume1/docker/@tmp"));
}

TEST_F(ToPDFTest, NameThatEndsInADotHasAnEmptyType) {
    EXPECT_EQ(Convert("", nullptr), 1003);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(Logged("Converter", 321, "Failed [strSrcType.empty()]")));
}

TEST_F(ToPDFTest, UnknownTypeIsRefusedByName) {
    for (const char* pages : {static_cast<const char*>(nullptr), "1-1"}) {
        EXPECT_EQ(Convert("zip", pages), 1003);
        EXPECT_THAT(
            SyslogSink::Get().Messages(),
            ElementsAre(LogMessage{LOG_USER | LOG_ERR, Logged("Converter", 349, "err type: zip")}));
    }
    EXPECT_THAT(DockerCalls(), IsEmpty());
}

TEST_F(ToPDFTest, RefusalCarriesErrno) {
    path::Path source;
    source.SetData("realPath", "/volume1/docs/a.zip", true);
    errno = EPERM;
    converter::ToPDF(source, _product, nullptr);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(LoggedWithError("Converter", 349, "err type: zip", EPERM)));
    EXPECT_EQ(errno, 0);
}

TEST_F(ToPDFTest, OfficeDocumentGoesWholeToSoffice) {
    EXPECT_EQ(Convert("docx", nullptr), 1000);
    EXPECT_EQ(ToolCommand().front(), "soffice");
    EXPECT_EQ(Container(), "navo1") << "high priority";
    EXPECT_THAT(_product.GetRealPath(), EndsWith(".pdf"));
}

TEST_F(ToPDFTest, OfficeDocumentGoesByPagesToUnoconv) {
    EXPECT_EQ(Convert("docx", "1-1"), 1000);
    EXPECT_EQ(ToolCommand().front(), "unoconv");
    EXPECT_TRUE(Holds(ToolCommand(), "PageRange=1-1"));
    EXPECT_FALSE(Holds(ToolCommand(), "--spreadsheet-fitpage=x"));
    EXPECT_EQ(Container(), "navo2") << "low priority";
    EXPECT_THAT(_product.GetRealPath(), EndsWith(".pdf"));
}

TEST_F(ToPDFTest, BookGoesWholeToEbookConvert) {
    EXPECT_EQ(Convert("epub", nullptr), 1000);
    EXPECT_EQ(ToolCommand().front(), "ebook-convert");
    EXPECT_EQ(Container(), "navo1");
    EXPECT_THAT(_product.GetRealPath(), EndsWith(".pdf"));
}

TEST_F(ToPDFTest, BookGivesItsCoverForPages) {
    EXPECT_EQ(Convert("epub", "1-1"), 1000);
    EXPECT_EQ(ToolCommand().front(), "ebook-meta");
    EXPECT_EQ(Container(), "navo2");
    EXPECT_THAT(_product.GetRealPath(), EndsWith(".jpg"));
}

TEST_F(ToPDFTest, SpreadsheetGoesToUnoconvFittedBothWays) {
    for (const char* pages : {static_cast<const char*>(nullptr), "1-1"}) {
        EXPECT_EQ(Convert("xlsx", pages), 1000);
        EXPECT_EQ(ToolCommand().front(), "unoconv");
        EXPECT_TRUE(Holds(ToolCommand(), "--spreadsheet-fitpage=x"));
        EXPECT_EQ(Holds(ToolCommand(), "PageRange=1-1"), pages != nullptr);
        EXPECT_EQ(Container(), pages == nullptr ? "navo1" : "navo2");
    }
}

TEST_F(ToPDFTest, PdfGoesToPdftkBothWays) {
    EXPECT_EQ(Convert("pdf", nullptr), 1000);
    EXPECT_EQ(ToolCommand().front(), "pdftk");
    EXPECT_EQ(ToolCommand().at(3), "A");
    EXPECT_EQ(Convert("pdf", "1-1"), 1000);
    EXPECT_EQ(ToolCommand().front(), "pdftk");
    EXPECT_EQ(ToolCommand().at(3), "A1-1");
}

TEST_F(ToPDFTest, EmptyPageRangeIsAPageRange) {
    EXPECT_EQ(Convert("docx", ""), 1000);
    EXPECT_EQ(ToolCommand().front(), "unoconv");
    EXPECT_TRUE(Holds(ToolCommand(), "PageRange="));
    EXPECT_EQ(Container(), "navo2");
}

TEST_F(ToPDFTest, EverySupportedTypeHasItsConverter) {
    std::istringstream list(SZF_SUPPORT_FILE_TYPES);
    for (std::string type; std::getline(list, type, ',');) {
        EXPECT_EQ(Convert(type, nullptr), 1000) << type;
        EXPECT_EQ(Convert(type, "1-1"), 1000) << type;
    }
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(ToPDFTest, ConvertersCodeIsReturnedUnchanged) {
    PlayTool({.exitStatus = 124});
    EXPECT_EQ(Convert("docx", nullptr), 1001);
    PlayTool({.productSize = -1});
    EXPECT_EQ(Convert("docx", nullptr), 1002);
    EXPECT_FALSE(_product.HasData("realPath"));
}

TEST_F(ToPDFTest, UpperCaseExtensionIsTheSameType) {
    EXPECT_EQ(Convert("DOCX", nullptr), 1000);
    EXPECT_EQ(ToolCommand().front(), "soffice");
}

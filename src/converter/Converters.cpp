// SPDX-License-Identifier: Apache-2.0
#include "common/JsonAccess.h"
#include "vellumo/Constants.h"
#include "vellumo/Converter.h"

// The converters, one for each way to call a tool: which file types it takes, and its command line.
namespace NAVO::VELLUMO::converter {
namespace {

constexpr const char* kPageRange = "PageRange";

std::string SourceInContainer(const ConverterBase& converter) {
    return SZF_COVERT_SOURCE_DIR + converter._tmpSrcPath.GetFileName("");
}

std::string TargetInContainer(const ConverterBase& converter) {
    return SZF_COVERT_TARGET_DIR + converter._tmpTgtPath.GetFileName("");
}

std::string PageRange(const ConverterBase& converter) {
    return json::Text(json::Member(converter._options, kPageRange), "");
}

void AppendUnoconvPageRange(const ConverterBase& converter, std::vector<std::string>& argv) {
    if (json::HasMember(converter._options, kPageRange)) {
        argv.insert(argv.end(), {"-e", "PageRange=" + PageRange(converter)});
    }
}

}  // namespace

// Built when the library is loaded: if memory runs out here, the process cannot go on anyway.
// NOLINTBEGIN(cert-err58-cpp)
std::set<std::string> LibreOfficeConverter::_supportTypeSet{
    "odm", "odt", "ott", "sxw", "stw", "fodt", "docx", "docm", "dotx", "dotm", "doc",  "dot", "wps",
    "rtf", "odp", "otp", "sti", "sxd", "fodp", "pptx", "pptm", "ppsx", "potm", "potx", "ppt", "pps",
    "pot", "odg", "otg", "sxd", "std", "cdr",  "cmx",  "vdx",  "vsd",  "vsdm", "vsdx"};

// In the same source file as the set that it copies, so that it is built after that set.
std::set<std::string> UnoconvConverter::_supportTypeSet = LibreOfficeConverter::_supportTypeSet;

std::set<std::string> UnoconvSpreadSheetConverter::_supportTypeSet{
    "odc",  "ods",  "ots", "sxc", "stc", "fods", "xlsx", "xlsm", "xltm",
    "xltx", "xlsb", "xls", "xlc", "xlm", "xlw",  "xlk",  "xlt"};

std::set<std::string> PdftkConverter::_supportTypeSet{"pdf"};

std::set<std::string> ImageMagickConverter::_supportTypeSet{"pdf"};

std::set<std::string> CalibreConverter::_supportTypeSet{"epub", "mobi"};

std::set<std::string> CalibreThumbnailConverter::_supportTypeSet{"epub", "mobi"};
// NOLINTEND(cert-err58-cpp)

bool LibreOfficeConverter::IsNeedSameFolder() {
    return true;
}

void LibreOfficeConverter::GetCommand(std::vector<std::string>& argv) {
    argv = {"soffice",  "--headless",          "--convert-to",          "pdf",
            "--outdir", SZF_COVERT_TARGET_DIR, SourceInContainer(*this)};
}

void UnoconvConverter::GetCommand(std::vector<std::string>& argv) {
    argv = {"unoconv", "-o", TargetInContainer(*this), "--format=pdf"};
    AppendUnoconvPageRange(*this, argv);
    argv.push_back(SourceInContainer(*this));
}

void UnoconvSpreadSheetConverter::GetCommand(std::vector<std::string>& argv) {
    argv = {"unoconv", "-o", TargetInContainer(*this), "--format=pdf", "--spreadsheet-fitpage=x"};
    AppendUnoconvPageRange(*this, argv);
    argv.push_back(SourceInContainer(*this));
}

void PdftkConverter::GetCommand(std::vector<std::string>& argv) {
    argv = {"pdftk",  "A=" + SourceInContainer(*this), "cat", "A" + PageRange(*this),
            "output", TargetInContainer(*this)};
}

void ImageMagickConverter::GetCommand(std::vector<std::string>& argv) {
    argv = {"convert",
            "-define",
            "pdf:use-cropbox=true",
            "-density",
            "72",
            "-resize",
            "35%",
            SourceInContainer(*this),
            TargetInContainer(*this)};
}

void CalibreConverter::GetCommand(std::vector<std::string>& argv) {
    argv = {"ebook-convert",
            SourceInContainer(*this),
            TargetInContainer(*this),
            "--margin-bottom",
            "20",
            "--margin-left",
            "20",
            "--margin-right",
            "20",
            "--margin-top",
            "20"};
}

void CalibreThumbnailConverter::GetCommand(std::vector<std::string>& argv) {
    argv = {"ebook-meta", "--get-cover=" + TargetInContainer(*this), SourceInContainer(*this)};
}

}  // namespace NAVO::VELLUMO::converter

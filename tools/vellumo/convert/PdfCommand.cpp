// SPDX-License-Identifier: Apache-2.0
#include "convert/PdfCommand.h"

#include <CLI/CLI.hpp>

#include "loader/documents/Families.h"

namespace vellumo::cli {
namespace {

constexpr size_t kLargestPageLength = 9;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo pdf /docs/report.docx                 makes ./report.pdf\n"
    "  vellumo pdf /docs/a.xlsx /docs/b.odp -o out/  makes out/a.pdf and out/b.pdf\n"
    "  vellumo pdf /home/notes.odt --user ann        a document in ann's home\n"
    "  vellumo pdf -r /docs/reports                  keeps a PDF of everything in the folder\n"
    "  vellumo pdf /docs/report.docx --pages 1-3     its first three pages\n"
    "  vellumo pdf /docs/novel.epub --pages 1        its cover: ./novel.jpg\n"
    "A share path is what users of the server see: '/', the share's name, the path in it.\n"
    "The PDF is kept beside the document, in the cache; while the document does not change, it\n"
    "comes from there. Page ranges are not kept.\n"
    "Every conversion waits for a free container ('vellumo pool' shows them) and may then take\n"
    "120 seconds. Page ranges are work of low priority, which the first container never takes.\n"
    "An interrupted -r goes on where it was when it is called again.\n"
    "\nDocument types: ";

std::string TypesInLines() {
    std::string text;
    size_t column = sizeof("Document types:");
    for (const std::string& type : loader::SupportedTypes()) {
        if (column + type.size() > 85) {
            text += "\n  ";
            column = 2;
        }
        text += type + " ";
        column += type.size() + 1;
    }
    return text;
}

bool IsPageNumber(const std::string& text) {
    return !text.empty() && text.size() <= kLargestPageLength && text.front() != '0' &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

// The forms that all tools understand alike: one page, or the first and the last.
bool IsPageRange(const std::string& text) {
    const size_t dash = text.find('-');
    const std::string first = text.substr(0, dash);
    const std::string last = dash == std::string::npos ? first : text.substr(dash + 1);
    return IsPageNumber(first) && IsPageNumber(last) && std::stol(first) <= std::stol(last);
}

// The text that CLI11 wants: "" for a page range.
std::string CheckPageRange(const std::string& text) {
    return IsPageRange(text)
               ? ""
               : "'" + text +
                     "' is no page range; write one page (3) or the first and the last "
                     "(1-3), counted from 1";
}

}  // namespace

PdfCommand::PdfCommand(CLI::App& app)
    : ConversionCommand(app.add_subcommand("pdf", "Convert documents into PDFs"),
                        "the current directory") {
    Arguments()->footer(kExamples + TypesInLines());
    const auto option = [this](const char* name) { return Arguments()->get_option(name); };
    CLI::Option* pages =
        Arguments()
            ->add_option("--pages", _pages, "These pages only: 3 or 1-3; an e-book gives its cover")
            ->check(CheckPageRange)
            ->option_text("RANGE");
    CLI::Option* noCache = Arguments()->add_flag("--no-cache", _noCache,
                                                 "Neither take the PDF from the cache nor keep it");
    pages->excludes(option("--recursive"))->excludes(option("--refresh"));
    noCache->excludes(option("--recursive"))->excludes(option("--refresh"));
}

loader::Assignment PdfCommand::Task() const {
    using Service = loader::Assignment::Service;
    if (_pages) {
        return {Service::kPdf, _pages->c_str()};
    }
    return {_noCache ? Service::kPdf : Service::kCachedPdf};
}

std::string PdfCommand::OutputType(const loader::Document& document) const {
    return Task().WayFor(document).targetType;
}

}  // namespace vellumo::cli

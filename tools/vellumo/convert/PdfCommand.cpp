// SPDX-License-Identifier: Apache-2.0
#include "convert/PdfCommand.h"

#include <CLI/CLI.hpp>

#include "loader/documents/Families.h"

namespace vellumo::cli {
namespace {

constexpr size_t kLargestPageLength = 9;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo pdf /docs/report.docx                  write ./report.pdf\n"
    "  vellumo pdf /docs/a.xlsx /docs/b.odp -o out/   write out/a.pdf and out/b.pdf\n"
    "  vellumo pdf /home/notes.odt --user ann         convert a document in ann's home folder\n"
    "  vellumo pdf -r /docs/reports                   keep a PDF of every document in the folder\n"
    "  vellumo pdf -r /docs --jobs 2                  leave the other containers to others\n"
    "  vellumo pdf -r /docs --newer 2d --dry-run      only show what is to do\n"
    "  vellumo pdf -r /docs --exclude old --time-limit 8h --report failures.jsonl\n"
    "                                                 a night's work\n"
    "  vellumo pdf /docs/report.docx --pages 1-3      write its first three pages\n"
    "  vellumo pdf /docs/novel.epub --pages 1         write its cover: ./novel.jpg\n"
    "A share path is what the users of the server see: '/', the share's name, the path in it.\n"
    "The PDF is also kept in the cache. Until the document changes, the next call takes it from\n"
    "there. Page ranges are not kept.\n"
    "A conversion waits until a container is free ('vellumo pool' lists them) and may then run "
    "for\n"
    "120 seconds. Page ranges have low priority, and the first container never takes them.\n"
    "Repeat an interrupted -r to go on where it stopped. What has failed is not tried again "
    "before\n"
    "the document or the tools change, or its time has come: see 'vellumo failures'.\n"
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

// Accepts the forms that all tools understand alike: one page, or the first and the last.
bool IsPageRange(const std::string& text) {
    const size_t dash = text.find('-');
    const std::string first = text.substr(0, dash);
    const std::string last = dash == std::string::npos ? first : text.substr(dash + 1);
    return IsPageNumber(first) && IsPageNumber(last) && std::stol(first) <= std::stol(last);
}

// A check for CLI11: "" when `text` is a page range, else the error.
std::string CheckPageRange(const std::string& text) {
    return IsPageRange(text)
               ? ""
               : "'" + text +
                     "' is not a page range; write one page (3) or the first and the last "
                     "(1-3), counted from 1";
}

}  // namespace

PdfCommand::PdfCommand(CLI::App& app)
    : ConversionCommand(app.add_subcommand("pdf", "Convert documents to PDF"),
                        "the current directory") {
    Arguments()->footer(kExamples + TypesInLines());
    const auto option = [this](const char* name) { return Arguments()->get_option(name); };
    CLI::Option* pages =
        Arguments()
            ->add_option("--pages", _pages,
                         "Convert these pages only, as in 3 or 1-3; of an e-book, the cover.\n"
                         "Not with -r or --refresh")
            ->check(CheckPageRange)
            ->option_text("RANGE");
    CLI::Option* noCache = Arguments()->add_flag(
        "--no-cache", _noCache,
        "Neither take the PDF from the cache nor keep it there.\nNot with -r or --refresh");
    noCache->option_text(" ");
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

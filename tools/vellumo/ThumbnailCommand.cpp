// SPDX-License-Identifier: Apache-2.0
#include "ThumbnailCommand.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include "CachedProducts.h"
#include "Explanations.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo thumbnail /docs/report.docx            keeps a picture and says where it lies\n"
    "  vellumo thumbnail /docs/report.docx -o a.png   brings a copy of it to ./a.png\n"
    "  vellumo thumbnail -r /docs                     keeps one of every document in the share\n"
    "  vellumo thumbnail -r /docs --refresh           makes all of them anew\n"
    "The picture shows the first page, made of the PDF in the cache where there is one. It is "
    "kept\n"
    "beside the document and comes from there while the document does not change.\n"
    "With -r, a document whose picture has failed before is not tried again until it changes, or\n"
    "with --refresh. An interrupted -r goes on where it was when it is called again.\n"
    "Thumbnails are work of low priority, which the first container never takes: two containers\n"
    "are the least that makes them.";

}  // namespace

ThumbnailCommand::ThumbnailCommand(CLI::App& app)
    : ConversionCommand(app.add_subcommand("thumbnail", "Make thumbnails of documents"),
                        "only beside the document") {
    Arguments()->footer(kExamples);
}

// One cuts the first page off, of the PDF in the cache where there is one; the other draws it.
std::string ThumbnailCommand::ToolsFor(const Document& document) const {
    const bool isPdfKept =
        access(CachedProducts(document).PathOf(core::SZK_THUMB_PDF_TYPE).c_str(), F_OK) == 0;
    return (isPdfKept ? FamilyOf("pdf")->pages.tool : document.family->pages.tool) + " or convert";
}

const char* ThumbnailCommand::Stream() const {
    return core::SZK_THUMB_TYPE;
}

std::optional<Problem> ThumbnailCommand::ReasonToSkip(const Job& job) const {
    if (IsRecursive() && CachedProducts(*job.document).ThumbnailHasFailed()) {
        return ExplainEarlierFailure(What(job));
    }
    return {};
}

// The attempt has left the mark of a failure, which it was not.
void ThumbnailCommand::TidyAfterStop(const Job& job) const {
    unlink(CachedProducts(*job.document).MarkPath().c_str());
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#include "convert/ThumbnailCommand.h"

#include <CLI/CLI.hpp>

#include "loader/cache/KeptProducts.h"
#include "loader/conversion/Endings.h"

namespace vellumo::cli {
namespace {

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

void ThumbnailCommand::CheckWorthTrying(const Job& job) const {
    if (IsRecursive() && loader::KeptProducts(*job.document).ThumbnailHasFailed()) {
        throw loader::Failure(loader::ExplainEarlierFailure(What(job)));
    }
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#include "convert/ThumbnailCommand.h"

#include <CLI/CLI.hpp>

namespace vellumo::cli {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo thumbnail /docs/report.docx            keep a thumbnail and print its path\n"
    "  vellumo thumbnail /docs/report.docx -o a.png   also copy it to ./a.png\n"
    "  vellumo thumbnail -r /docs                     keep one of every document in the share\n"
    "  vellumo thumbnail -r /docs --refresh           make all of them again\n"
    "The picture shows the first page, taken from the PDF in the cache if there is one. It is "
    "kept\n"
    "in the cache too; until the document changes, the next call takes it from there.\n"
    "A document whose thumbnail failed is not tried again before it or the tools change; after a\n"
    "time limit or a crash, 10 minutes and 2 hours later. 'vellumo why' tells more, --refresh "
    "tries\n"
    "at once. Repeat an interrupted -r to go on where it stopped.\n"
    "Thumbnails have low priority, and the first container never takes them, so the pool needs at\n"
    "least two containers.";

}  // namespace

ThumbnailCommand::ThumbnailCommand(CLI::App& app)
    : ConversionCommand(app.add_subcommand("thumbnail", "Make thumbnails of documents"),
                        "kept in the cache only") {
    Arguments()->footer(kExamples);
}

}  // namespace vellumo::cli

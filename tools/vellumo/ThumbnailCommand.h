// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_THUMBNAILCOMMAND_H
#define VELLUMO_TOOLS_THUMBNAILCOMMAND_H

#include "ConversionCommand.h"

namespace vellumo::cli {

// vellumo thumbnail: pictures of the first pages, kept beside the documents.
class ThumbnailCommand final : public ConversionCommand {
public:
    explicit ThumbnailCommand(CLI::App& app);

private:
    Assignment Task() const override { return {Assignment::Service::kThumbnail}; }
    std::string ToolsFor(const Document& document) const override;
    const char* Stream() const override;
    bool HandsOver() const override { return HasOutput(); }
    std::string OutputType(const Document& /*document*/) const override { return "png"; }
    std::optional<Problem> ReasonToSkip(const Job& job) const override;
    void TidyAfterStop(const Job& job) const override;
};

}  // namespace vellumo::cli

#endif

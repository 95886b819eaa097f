// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_THUMBNAILCOMMAND_H
#define VELLUMO_TOOLS_THUMBNAILCOMMAND_H

#include <string>

#include "convert/ConversionCommand.h"

namespace vellumo::cli {

// vellumo thumbnail: makes pictures of first pages, which are kept in the cache.
class ThumbnailCommand final : public ConversionCommand {
public:
    explicit ThumbnailCommand(CLI::App& app);

private:
    loader::Assignment Task() const override { return {loader::Assignment::Service::kThumbnail}; }
    bool HandsOver() const override { return HasOutput(); }
    std::string OutputType(const loader::Document& /*document*/) const override { return "png"; }
};

}  // namespace vellumo::cli

#endif

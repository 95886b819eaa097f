// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_PDFCOMMAND_H
#define VELLUMO_TOOLS_PDFCOMMAND_H

#include <optional>
#include <string>

#include "convert/ConversionCommand.h"

namespace vellumo::cli {

// vellumo pdf: converts whole documents to PDFs, which are also kept, or some of their pages.
class PdfCommand final : public ConversionCommand {
public:
    explicit PdfCommand(CLI::App& app);

private:
    loader::Assignment Task() const override;
    bool HandsOver() const override { return !IsRecursive(); }
    std::string OutputType(const loader::Document& document) const override;

    std::optional<std::string> _pages;
    bool _noCache = false;
};

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_PDFCOMMAND_H
#define VELLUMO_TOOLS_PDFCOMMAND_H

#include <optional>
#include <string>

#include "ConversionCommand.h"

namespace vellumo::cli {

// vellumo pdf: PDFs of whole documents, kept beside them, or of some of their pages.
class PdfCommand final : public ConversionCommand {
public:
    explicit PdfCommand(CLI::App& app);

private:
    Assignment Task() const override;
    std::string ToolsFor(const Document& document) const override { return WayFor(document).tool; }
    const char* Stream() const override;
    bool HandsOver() const override { return !IsRecursive(); }
    std::string OutputType(const Document& document) const override;

    const Way& WayFor(const Document& document) const;
    bool IsKept() const { return !_pages && !_noCache; }

    std::optional<std::string> _pages;
    bool _noCache = false;
};

}  // namespace vellumo::cli

#endif

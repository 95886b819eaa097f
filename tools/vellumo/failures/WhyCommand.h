// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_WHYCOMMAND_H
#define VELLUMO_TOOLS_WHYCOMMAND_H

#include <string>
#include <vector>

#include "app/Command.h"

namespace vellumo::cli {

// vellumo why: tells what is known of documents and what to do about them.
class WhyCommand final : public Command {
public:
    explicit WhyCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    std::vector<std::string> _sharePaths;
    std::string _user;
};

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_FAILURESCOMMAND_H
#define VELLUMO_TOOLS_FAILURESCOMMAND_H

#include <cstdint>
#include <string>
#include <vector>

#include "app/Command.h"

namespace vellumo::cli {

// vellumo failures: lists and forgets the failures of conversions that are remembered.
class FailuresCommand final : public Command {
public:
    explicit FailuresCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    void AddForget();
    void AddUser(CLI::App* arguments);
    CommandResult List(bool json) const;
    CommandResult Forget(bool json) const;
    size_t ForgetNamed() const;

    std::vector<std::string> _sharePaths;  // to forget
    std::string _below;
    std::string _user;
    int64_t _limit = 0;
    bool _all = false;
    CLI::App* _forget = nullptr;  // owned by the command line
};

}  // namespace vellumo::cli

#endif

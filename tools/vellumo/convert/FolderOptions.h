// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_FOLDEROPTIONS_H
#define VELLUMO_TOOLS_FOLDEROPTIONS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "app/Command.h"
#include "documents/Folder.h"

namespace vellumo::cli {

// The options that only make sense for whole folders.
class FolderOptions {
public:
    // Adds them to `arguments`; each needs the option `recursive`.
    void AddTo(CLI::App& arguments, CLI::Option* recursive);

    // Which documents are meant.
    FolderFilter Filter() const;

    // How many documents are converted at once; 0: as many as the pool can take.
    size_t Jobs() const { return _jobs; }

    // Where the failures are listed; "" for nowhere.
    const std::string& Report() const { return _report; }

    std::optional<std::chrono::seconds> TimeLimit() const;
    bool IsDryRun() const { return _isDryRun; }

private:
    void AddFilters(CLI::App& arguments, CLI::Option* recursive);

    unsigned _jobs = 0;
    std::vector<std::string> _excluded;
    std::string _newer;
    std::string _timeLimit;
    std::string _report;
    bool _isDryRun = false;
};

}  // namespace vellumo::cli

#endif

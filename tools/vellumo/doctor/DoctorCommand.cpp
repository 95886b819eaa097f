// SPDX-License-Identifier: Apache-2.0
#include "doctor/DoctorCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>

#include "doctor/ServerChecks.h"
#include "loader/Text.h"

namespace vellumo::cli {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo doctor          examine everything, and name the one thing to do first\n"
    "  vellumo doctor --json   the same, for programs\n"
    "It examines the settings, the folder of the state file, the pool and its tools (as 'vellumo\n"
    "pool doctor' does, with a small document for each tool), the queue, the space for the cache,\n"
    "the daemon and, where it is installed, the web service. It changes nothing.";

// All findings in the order in which one would mend things. `tell` is called with each at once.
std::vector<Finding> Examine(const std::function<void(const Finding&)>& tell) {
    std::vector<Finding> findings;
    const auto add = [&](const Finding& finding) {
        tell(finding);
        findings.push_back(finding);
    };
    const Finding rights = CheckRootRights();
    if (!rights.sound) {
        add(rights);
        return findings;
    }
    add(CheckSettings());
    add(CheckStateFolder());
    Doctor(add).Examine();
    add(CheckQueue());
    add(CheckCacheSpace());
    add(CheckDaemon());
    if (const auto web = CheckWebService()) {
        add(*web);
    }
    return findings;
}

// The first failed finding: those after it often fail because of it.
std::optional<Finding> FirstToMend(const std::vector<Finding>& findings) {
    const auto first = std::find_if(findings.begin(), findings.end(),
                                    [](const Finding& finding) { return !finding.sound; });
    return first == findings.end() ? std::nullopt : std::optional(*first);
}

}  // namespace

DoctorCommand::DoctorCommand(CLI::App& app)
    : Command(
          app.add_subcommand("doctor", "Examine everything, and name the one thing to do first")) {
    Arguments()->footer(kExamples);
}

CommandResult DoctorCommand::Run(bool json) {
    const std::vector<Finding> findings = Examine([json](const Finding& finding) {
        if (!json) {
            Print(finding);
        }
    });
    CommandResult result{ExitCode::kDone};
    result.json["findings"] = ToJson(findings);
    const auto first = FirstToMend(findings);
    if (first) {
        result.FailWith({ExitCode::kFailed,
                         "not everything is sound",
                         first->subject + ": " + first->detail,
                         first->remedy,
                         {}});
    }
    if (!json) {
        std::cout << (first ? "Do this first (" + Printable(first->subject) +
                                  "): " + Printable(first->remedy)
                            : "Everything is sound.")
                  << std::endl;
    }
    return result;
}

}  // namespace vellumo::cli

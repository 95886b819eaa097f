// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CLI_SWEEPVIEW_H
#define VELLUMO_CLI_SWEEPVIEW_H

#include <array>
#include <string>

#include "app/Command.h"
#include "app/Interrupts.h"
#include "loader/cache/Sweep.h"

namespace vellumo::cli {

// Shows a sweep: each leftover as a line, or as an entry of the JSON document, and the sums at the
// end. Where it looks is shown on the standard error if that is a terminal.
class SweepView final : public loader::SweepWatch {
public:
    SweepView(bool isDryRun, bool json) : _isDryRun(isDryRun), _json(json) {}

    void Enters(const std::string& where) override;
    void Finds(const loader::Leftover& leftover, const std::string& problem) override;
    bool WantsEnd() override;

    // The result of the command; call it once, after the sweep.
    CommandResult Result();

private:
    struct Sum {
        size_t count = 0;
        int64_t bytes = 0;
    };

    void PrintSums() const;

    bool _isDryRun;
    bool _json;
    Interrupts _interrupts;
    bool _isInterrupted = false;
    size_t _failures = 0;
    Sum _sum;
    Json::Value _entries{Json::arrayValue};
};

}  // namespace vellumo::cli

#endif

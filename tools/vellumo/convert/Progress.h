// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_PROGRESS_H
#define VELLUMO_TOOLS_PROGRESS_H

#include <chrono>
#include <string>

#include "loader/conversion/Watch.h"

namespace vellumo::cli {

// Shows the progress of conversions on the standard error.
class Progress final : public loader::Listener {
public:
    enum class Mode {
        kNone,
        kPlain,  // a line for each new phase, and one every ten seconds
        kLine    // one line that is redrawn; for terminals
    };

    Progress(Mode mode, size_t total) : _mode(mode), _total(total) {}
    ~Progress() override { Clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    bool WantsObstacles() const override { return _mode != Mode::kNone; }

    // Starts the `number`-th document, called `name`. `pace`: the progress of the whole command;
    // may be empty.
    void Begin(size_t number, const std::string& name, const std::string& pace);

    void Report(loader::Phase phase, const std::string& obstacle) override;

    // Erases the line; call it before anything else is printed.
    void Clear();

private:
    using Clock = std::chrono::steady_clock;

    std::string Text(const std::string& detail, Clock::time_point now) const;
    std::string Bar() const;
    bool IsDue(Clock::time_point now) const;

    Mode _mode;
    size_t _total;
    size_t _number = 0;
    std::string _document;
    std::string _pace;
    const char* _phase = nullptr;  // a name in the table of phases; null before the first one
    Clock::time_point _phaseBegin;
    Clock::time_point _shown;
    bool _lineDrawn = false;
};

}  // namespace vellumo::cli

#endif

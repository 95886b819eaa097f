// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_PROGRESS_H
#define VELLUMO_TOOLS_PROGRESS_H

#include <chrono>
#include <string>

#include "loader/conversion/Watch.h"

namespace vellumo::cli {

// What a person sees on the standard error while a conversion takes its time.
class Progress final : public loader::Listener {
public:
    enum class Mode {
        kNone,
        kPlain,  // a line for each new phase, and one every ten seconds
        kLine    // one line, drawn again and again; for terminals
    };

    Progress(Mode mode, size_t total) : _mode(mode), _total(total) {}
    ~Progress() override { Clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    bool WantsObstacles() const override { return _mode != Mode::kNone; }

    // The `number`-th document, called `name`, comes now; `pace` tells how all of them come along
    // (may be empty).
    void Begin(size_t number, const std::string& name, const std::string& pace);

    void Report(loader::Phase phase, const std::string& obstacle) override;

    // Takes the line away; before anything else is printed.
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
    const char* _phase = nullptr;  // of the table's texts; null before the first one
    Clock::time_point _phaseBegin;
    Clock::time_point _shown;
    bool _lineDrawn = false;
};

}  // namespace vellumo::cli

#endif

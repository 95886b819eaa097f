// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_PROGRESS_H
#define VELLUMO_TOOLS_PROGRESS_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "loader/conversion/Watch.h"

namespace vellumo::cli {

class Progress;

// Shows on the standard error how far a command is, and the documents that it converts now.
class ProgressBoard {
public:
    enum class Mode {
        kNone,
        kPlain,  // a line for each new phase of each document, and one every ten seconds
        kLine    // one line for all that is redrawn; for terminals
    };

    explicit ProgressBoard(Mode mode) : _mode(mode) {}
    ~ProgressBoard() { Clear(); }
    ProgressBoard(const ProgressBoard&) = delete;
    ProgressBoard& operator=(const ProgressBoard&) = delete;

    // Tells how far the whole command is. `pace`: the same in words.
    void Update(size_t ended, size_t total, const std::string& pace);

    // Erases the line; call it before anything else is printed.
    void Clear();

private:
    friend class Progress;
    using Clock = std::chrono::steady_clock;

    void Show(Progress& document, bool isNewPhase);
    void Redraw(bool isNewPhase);
    std::string LineOf(const Progress& document) const;
    std::string LineOfAll() const;
    std::string Bar() const;

    Mode _mode;
    size_t _ended = 0;
    size_t _total = 1;
    std::string _pace;
    std::vector<Progress*> _running;  // not owned; in the order in which they began
    Clock::time_point _shown;         // in kLine
    bool _lineDrawn = false;
};

// The progress of one document, shown on a board while the object lives.
class Progress final : public loader::Listener {
public:
    using Mode = ProgressBoard::Mode;

    // Shows the document on `board`, which outlives the object, as the `number`-th of the command.
    Progress(ProgressBoard& board, size_t number, const std::string& name);

    // Shows one of `total` documents without its name, on a board of its own.
    Progress(Mode mode, size_t total);
    ~Progress() override;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    bool WantsObstacles() const override { return _board._mode != Mode::kNone; }
    void Report(loader::Phase phase, const std::string& obstacle) override;

private:
    friend class ProgressBoard;
    using Clock = std::chrono::steady_clock;

    std::string State() const;

    std::unique_ptr<ProgressBoard> _own;
    ProgressBoard& _board;
    size_t _number;
    std::string _name;
    const char* _phase = nullptr;  // a name in the table of phases; null before the first one
    std::string _detail;
    Clock::time_point _phaseBegin;
    Clock::time_point _shown;  // in Mode::kPlain
};

}  // namespace vellumo::cli

#endif

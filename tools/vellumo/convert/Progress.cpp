// SPDX-License-Identifier: Apache-2.0
#include "convert/Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <iterator>

#include "app/Messages.h"

namespace vellumo::cli {
namespace {

constexpr auto kRedraw = std::chrono::milliseconds(250);
constexpr auto kRepeat = std::chrono::seconds(10);
constexpr size_t kUsualWidth = 80;
constexpr size_t kBarWidth = 20;
constexpr const char* kEraseLine = "\r\x1b[K";

struct PhaseWords {
    loader::Phase phase;
    const char* name;
    const char* detail;
};

constexpr PhaseWords kPhases[] = {
    {loader::Phase::kPreparing, "preparing", ""},
    {loader::Phase::kWaiting, "waiting for a container", ""},
    {loader::Phase::kTool, "tool running", "120 s at most"},
    {loader::Phase::kFinishing, "finishing", ""},
    {loader::Phase::kGivingUp, "giving up", "interrupt again to leave at once"},
};

const PhaseWords& WordsFor(loader::Phase phase) {
    return *std::find_if(std::begin(kPhases), std::end(kPhases),
                         [phase](const PhaseWords& words) { return words.phase == phase; });
}

size_t TerminalWidth() {
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return known ? size.ws_col : kUsualWidth;
}

bool ContinuesCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xc0U) == 0x80U;
}

// Cuts `text` to less than the terminal's width: a longer line would wrap and could not be redrawn.
std::string Fitted(const std::string& text) {
    const size_t width = TerminalWidth() - 1;
    if (text.size() <= width) {
        return text;
    }
    size_t end = width;
    while (end > 0 && ContinuesCharacter(text[end])) {
        --end;
    }
    return text.substr(0, end);
}

}  // namespace

void Progress::Begin(size_t number, const std::string& name, const std::string& pace) {
    _number = number;
    _document = Printable(name);
    _pace = pace;
    _phase = nullptr;
}

void Progress::Report(loader::Phase phase, const std::string& obstacle) {
    const auto now = Clock::now();
    const PhaseWords& words = WordsFor(phase);
    const std::string detail = obstacle.empty() ? words.detail : obstacle;
    if (words.name != _phase) {
        _phase = words.name;
        _phaseBegin = now;
        _shown = {};
    }
    if (_mode == Mode::kNone || !IsDue(now)) {
        return;
    }
    _shown = now;
    _lineDrawn = _mode == Mode::kLine;
    if (_lineDrawn) {
        std::cerr << kEraseLine << Fitted(Text(detail, now)) << std::flush;
    } else {
        std::cerr << Text(detail, now) << std::endl;
    }
}

void Progress::Clear() {
    if (_lineDrawn) {
        std::cerr << kEraseLine << std::flush;
        _lineDrawn = false;
    }
}

std::string Progress::Text(const std::string& detail, Clock::time_point now) const {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(now - _phaseBegin);
    const std::string note = detail.empty() ? "" : " (" + Printable(detail) + ")";
    const std::string place = "[" + std::to_string(_number) + "/" + std::to_string(_total) + "] ";
    const std::string state =
        _document + ": " + _phase + ", " + std::to_string(elapsed.count()) + " s" + note;
    if (_total < 2) {
        return place + state;
    }
    // A redrawn line may be cut off at its end, so the name, its longest part, comes last.
    return _mode == Mode::kLine ? Bar() + place + _pace + "; " + state
                                : place + state + "; " + _pace;
}

std::string Progress::Bar() const {
    const size_t filled = (_number - 1) * kBarWidth / _total;
    return std::string(filled, '#') + std::string(kBarWidth - filled, '.') + " ";
}

bool Progress::IsDue(Clock::time_point now) const {
    return now - _shown >= (_mode == Mode::kLine ? Clock::duration(kRedraw) : kRepeat);
}

}  // namespace vellumo::cli

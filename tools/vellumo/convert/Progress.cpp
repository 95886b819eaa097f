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

Progress::Progress(ProgressBoard& board, size_t number, const std::string& name)
    : _board(board), _number(number), _name(Printable(name)) {
    _board._running.push_back(this);
}

Progress::Progress(Mode mode, size_t total)
    : _own(std::make_unique<ProgressBoard>(mode)), _board(*_own), _number(1) {
    _board._total = total;
    _board._running.push_back(this);
}

Progress::~Progress() {
    std::erase(_board._running, this);
}

void Progress::Report(loader::Phase phase, const std::string& obstacle) {
    const PhaseWords& words = WordsFor(phase);
    const bool isNew = words.name != _phase;
    if (isNew) {
        _phase = words.name;
        _phaseBegin = Clock::now();
    }
    _detail = obstacle.empty() ? words.detail : obstacle;
    _board.Show(*this, isNew);
}

std::string Progress::State() const {
    if (_phase == nullptr) {
        return _name;
    }
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - _phaseBegin);
    const std::string note = _detail.empty() ? "" : " (" + Printable(_detail) + ")";
    return _name + ": " + _phase + ", " + std::to_string(elapsed.count()) + " s" + note;
}

void ProgressBoard::Update(size_t ended, size_t total, const std::string& pace) {
    _ended = ended;
    _total = total;
    _pace = pace;
}

void ProgressBoard::Show(Progress& document, bool isNewPhase) {
    const auto now = Clock::now();
    if (_mode == Mode::kLine) {
        Redraw(isNewPhase && _running.size() == 1);
    } else if (_mode == Mode::kPlain && (isNewPhase || now - document._shown >= kRepeat)) {
        document._shown = now;
        std::cerr << LineOf(document) << std::endl;
    }
}

void ProgressBoard::Redraw(bool isNewPhase) {
    const auto now = Clock::now();
    if (isNewPhase || now - _shown >= kRedraw) {
        _shown = now;
        _lineDrawn = true;
        std::cerr << kEraseLine << Fitted(LineOfAll()) << std::flush;
    }
}

void ProgressBoard::Clear() {
    if (_lineDrawn) {
        std::cerr << kEraseLine << std::flush;
        _lineDrawn = false;
    }
}

std::string ProgressBoard::LineOf(const Progress& document) const {
    const std::string place =
        "[" + std::to_string(document._number) + "/" + std::to_string(_total) + "] ";
    return place + document.State() + (_total < 2 ? "" : "; " + _pace);
}

// A redrawn line may be cut off at its end, so the names, its longest part, come last. Of several
// documents it names the one that has run for the longest time, which people ask about first.
std::string ProgressBoard::LineOfAll() const {
    const Progress& oldest = *_running.front();
    if (_total < 2) {
        return LineOf(oldest);
    }
    const std::string number = std::to_string(_running.size());
    const std::string others = _running.size() == 1 ? "" : number + " at once, the first: ";
    return Bar() + "[" + std::to_string(_ended + _running.size()) + "/" + std::to_string(_total) +
           "] " + _pace + "; " + others + oldest.State();
}

std::string ProgressBoard::Bar() const {
    const size_t filled = _ended * kBarWidth / _total;
    return std::string(filled, '#') + std::string(kBarWidth - filled, '.') + " ";
}

}  // namespace vellumo::cli

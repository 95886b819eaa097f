// SPDX-License-Identifier: Apache-2.0
#include "loader/failures/FailureKind.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace vellumo::loader {
namespace {

// Seconds until the second and the third attempt: 10 minutes and 2 hours.
constexpr std::array<int64_t, 2> kPauses{600, 7200};

// The library reports every failure of the engine's client as one of the tool, so only the words
// tell which one failed.
constexpr std::string_view kEngineWords[] = {
    "Cannot connect to the Docker daemon",
    "Error response from daemon",
    "error during connect",
    "OCI runtime exec failed",
    "Error: No such container",
    "no jail for the tool",
};

// What the engines, shells, `timeout` and the office write when a signal ends a tool.
constexpr std::string_view kKillWords[] = {
    "Killed",
    "Segmentation fault",
    "Aborted",
    "Bus error",
    "core dumped",
    "dumped core",
    "ended the command",
    "ended the tool",
    "Fatal exception: Signal",
};

// The embedded engine names itself when it fails. When it refuses a document, it goes on with the
// document's path; and one message tells of what the tool has done.
constexpr std::string_view kEmbedded = "vellumo-engine: ";
constexpr std::string_view kOfTheTool[] = {"/", "the command made more than", "signal "};

template <size_t kSize>
bool HasAny(const std::string& line, const std::string_view (&words)[kSize]) {
    return std::any_of(std::begin(words), std::end(words), [&line](std::string_view word) {
        return line.find(word) != std::string::npos;
    });
}

bool TellsOfEmbeddedEngine(const std::string& line) {
    if (!line.starts_with(kEmbedded)) {
        return false;
    }
    const std::string rest = line.substr(kEmbedded.size());
    return std::none_of(std::begin(kOfTheTool), std::end(kOfTheTool),
                        [&rest](std::string_view word) { return rest.starts_with(word); });
}

bool IsOfEngine(const std::string& line) {
    return HasAny(line, kEngineWords) || TellsOfEmbeddedEngine(line);
}

bool TellsOfKill(const std::string& line) {
    return HasAny(line, kKillWords);
}

// Words of an engine that answers: it did not a moment ago, or a document has had them written.
FailureKind KindOfToolFailure(const std::vector<std::string>& words) {
    const bool mayPass =
        TellsOfEngine(words) || std::any_of(words.begin(), words.end(), TellsOfKill);
    return mayPass ? FailureKind::kPassing : FailureKind::kFinal;
}

}  // namespace

bool TellsOfEngine(const std::vector<std::string>& words) {
    return std::any_of(words.begin(), words.end(), IsOfEngine);
}

FailureKind KindOf(const Problem& problem) {
    switch (problem.reason) {
        case Reason::kToolFailed:
            return KindOfToolFailure(problem.toolOutput);
        case Reason::kTimeLimit:
        case Reason::kWorkerDied:
            return FailureKind::kPassing;
        default:
            return FailureKind::kCircumstance;
    }
}

int64_t NextTry(FailureKind kind, int attempts, int deaths, int64_t now) {
    const auto failed = static_cast<size_t>(std::max(attempts, 1));
    const bool isOver = failed > kPauses.size() || deaths >= kDeathsPutAside;
    return kind == FailureKind::kPassing && !isOver ? now + kPauses.at(failed - 1) : 0;
}

}  // namespace vellumo::loader

// SPDX-License-Identifier: Apache-2.0
#include "warm/WarmCommand.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "Failure.h"
#include "Files.h"
#include "warm/WarmPlace.h"

namespace vellumo::engine {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr const char* kTimeout = "/usr/bin/timeout";
constexpr int kLeftToCold = 121;  // not an exit status of `timeout` or an office
// Exit statuses of the front or its `timeout` when the command was not run.
constexpr int kCouldNot[] = {kLeftToCold, kEngineFailed, 126, 127};

// timeout --kill-after=N LIMIT TOOL …
constexpr size_t kLimitAt = 2;
constexpr size_t kToolAt = 3;

std::optional<double> Number(const std::string& text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    return isNumber && value > 0 ? std::optional(value) : std::nullopt;
}

// The time limit, in seconds, of a command for an office in the library's form; none for every
// other command.
std::optional<double> LimitOf(const std::vector<std::string>& words) {
    const bool isTimed =
        words.size() > kToolAt && words[0] == "timeout" && words[1].starts_with("--kill-after=");
    const bool isForOffice =
        isTimed && (words[kToolAt] == "soffice" || words[kToolAt] == "unoconv");
    return isForOffice ? Number(words[kLimitAt]) : std::nullopt;
}

std::vector<std::string> EnvironmentFor(const WarmPlace& place, const ScratchTree& tree) {
    std::vector<std::string> environment{"VELLUMO_ROOT=" + tree.root,
                                         "VELLUMO_OFFICE_SOCKET=" + place.Socket(),
                                         "VELLUMO_COLD_STATUS=" + std::to_string(kLeftToCold)};
    if (const char* wait = std::getenv("VELLUMO_OFFICE_WAIT")) {
        environment.push_back(std::string("VELLUMO_OFFICE_WAIT=") + wait);
    }
    return environment;
}

bool CouldNot(int status) {
    return std::find(std::begin(kCouldNot), std::end(kCouldNot), status) != std::end(kCouldNot);
}

}  // namespace

std::optional<int> RunWarm(Command& command, const ScratchTree& tree, ChildProcess& child) {
    const std::optional<double> limit = LimitOf(command.arguments);
    const WarmPlace place(tree.above, command.container);
    const std::string front = limit ? FindFront(command.arguments[kToolAt]) : "";
    if (front.empty() || !place.IsReady()) {
        return std::nullopt;
    }
    std::vector<std::string> argv = command.arguments;
    argv[0] = kTimeout;
    argv[kToolAt] = front;
    const auto began = std::chrono::steady_clock::now();
    // `timeout` passes SIGTERM on to the front, which then cleans up.
    const int status =
        child.Run({.argv = argv, .environment = EnvironmentFor(place, tree), .ending = SIGTERM})
            .status;
    if (!CouldNot(status)) {
        return status;
    }
    const double left = *limit - Seconds(std::chrono::steady_clock::now() - began).count();
    command.arguments[kLimitAt] = std::to_string(left);
    return left > 0 ? std::nullopt : std::optional(kTimeLimit);
}

}  // namespace vellumo::engine

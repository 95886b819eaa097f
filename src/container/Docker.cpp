// SPDX-License-Identifier: Apache-2.0
#include "container/Docker.h"

#include <navo/exec.h>

namespace NAVO::VELLUMO::docker {
namespace {

constexpr const char* kClient = "/usr/local/bin/docker";

// Asks the container itself, so that it is the same for every engine. The pattern does not match
// the arguments of the programs that search for it. The exit statuses are none of the engines' own.
constexpr const char* kLook =
    "grep -qs 'kill-afte[r]=' /proc/[0-9]*/cmdline; [ $? -eq 0 ] && exit 10 || exit 11";
constexpr int kBusyStatus = 10;
constexpr int kIdleStatus = 11;

int RunClient(std::vector<std::string> words) {
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    return NLIBCExecv(argv.front(), argv.data(), 1);
}

}  // namespace

int Run(const std::string& container, const std::vector<std::string>& command) {
    std::vector<std::string> words{kClient,
                                   "exec",
                                   container,
                                   "timeout",
                                   "--kill-after=" + std::to_string(kKillAfterSecs),
                                   std::to_string(kTimeLimitSecs)};
    words.insert(words.end(), command.begin(), command.end());
    return RunClient(std::move(words));
}

Activity ActivityIn(const std::string& container) {
    const int status = RunClient({kClient, "exec", container, "sh", "-c", kLook});
    if (status == kBusyStatus) {
        return Activity::kBusy;
    }
    return status == kIdleStatus ? Activity::kIdle : Activity::kUnknown;
}

}  // namespace NAVO::VELLUMO::docker

// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/EngineClient.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>

#include "support/ChildProcess.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

std::optional<pid_t> ProcessNumber(const std::string& text) {
    pid_t process = 0;
    const auto [end, bad] = std::from_chars(text.data(), text.data() + text.size(), process);
    const bool isNumber = bad == std::errc() && end == text.data() + text.size();
    return isNumber ? std::optional(process) : std::nullopt;
}

// The arguments of a process, from its program's name on.
std::vector<std::string> CommandLineOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/cmdline");
    std::vector<std::string> words;
    for (std::string word; std::getline(file, word, '\0');) {
        words.push_back(word);
    }
    return words;
}

std::string Joined(std::vector<std::string>::const_iterator begin,
                   std::vector<std::string>::const_iterator end) {
    std::string text;
    for (auto word = begin; word != end; ++word) {
        text += (text.empty() ? "" : " ") + *word;
    }
    return text;
}

bool IsExecution(const std::vector<std::string>& words) {
    return words.size() > 3 && words[1] == "exec" &&
           std::filesystem::path(words[0]).filename() == "docker";
}

// The command without "timeout --kill-after=5 120", with which the library begins each one.
std::string CommandIn(const std::vector<std::string>& words) {
    constexpr std::ptrdiff_t kBeforeCommand = 3;  // docker exec NAME
    constexpr std::ptrdiff_t kTimeout = 3;
    auto begin = words.begin() + kBeforeCommand;
    if (words.end() - begin > kTimeout && *begin == "timeout") {
        begin += kTimeout;
    }
    return Joined(begin, words.end());
}

// The client of a container engine talks to it through a socket. The standard descriptors are the
// caller's.
bool TalksToEngine(pid_t client) {
    constexpr int kLastStandard = 2;
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(client) + "/fd", error)) {
        const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
        const auto number = ProcessNumber(entry.path().filename());
        if (number && *number > kLastStandard && target.starts_with("socket:")) {
            return true;
        }
    }
    return false;
}

// The word that names the scratch source; empty if none does.
std::string DocumentIn(const std::vector<std::string>& words) {
    const auto found = std::find_if(words.begin(), words.end(), [](const std::string& word) {
        return word.find(NAVO::VELLUMO::SZF_COVERT_SOURCE_DIR) != std::string::npos;
    });
    return found != words.end() ? *found : "";
}

}  // namespace

support::Answer AskEngine(const std::vector<std::string>& arguments, std::chrono::seconds limit) {
    return support::Ask(kEngineClient, arguments, limit);
}

pid_t EndCommandOf(pid_t client) {
    const std::vector<std::string> words = CommandLineOf(client);
    const std::string document = DocumentIn(words);
    if (!IsExecution(words) || document.empty() || !TalksToEngine(client)) {
        return 0;
    }
    std::vector<std::string> ender{kEngineClient, "exec", words[2], "/opt/vellumo/bin/end-command",
                                   document};
    pid_t child = 0;
    return support::Start(kEngineClient, support::ArgumentVector(ender).data(), {}, child) == 0
               ? child
               : 0;
}

std::vector<pid_t> Processes() {
    std::vector<pid_t> processes;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        if (const auto process = ProcessNumber(entry.path().filename())) {
            processes.push_back(*process);
        }
    }
    return processes;
}

std::vector<RunningCommand> RunningCommands() {
    std::vector<RunningCommand> running;
    for (const pid_t process : Processes()) {
        const std::vector<std::string> words = CommandLineOf(process);
        if (IsExecution(words)) {
            running.push_back({process, words[2], CommandIn(words)});
        }
    }
    return running;
}

}  // namespace vellumo::loader

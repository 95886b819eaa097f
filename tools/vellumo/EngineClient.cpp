// SPDX-License-Identifier: Apache-2.0
#include "EngineClient.h"

#include <charconv>
#include <filesystem>
#include <fstream>

namespace vellumo::cli {
namespace {

constexpr auto kVersionLimit = std::chrono::seconds(10);
constexpr auto kStatusLimit = std::chrono::seconds(10);

std::optional<pid_t> ProcessNumber(const std::string& text) {
    pid_t process = 0;
    const auto [end, bad] = std::from_chars(text.data(), text.data() + text.size(), process);
    const bool isNumber = bad == std::errc() && end == text.data() + text.size();
    return isNumber ? std::optional(process) : std::nullopt;
}

// The words of a process's command line.
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

// Past "timeout --kill-after=5 120", which every command of the library begins with.
std::string CommandIn(const std::vector<std::string>& words) {
    constexpr std::ptrdiff_t kBeforeCommand = 3;  // docker exec NAME
    constexpr std::ptrdiff_t kTimeout = 3;
    auto begin = words.begin() + kBeforeCommand;
    if (words.end() - begin > kTimeout && *begin == "timeout") {
        begin += kTimeout;
    }
    return Joined(begin, words.end());
}

}  // namespace

Answer AskEngine(const std::vector<std::string>& arguments, std::chrono::seconds limit) {
    return Ask(kEngineClient, arguments, limit);
}

EngineFacts LookAtEngine() {
    const Answer answer = AskEngine({"--version"}, kVersionLimit);
    if (answer.status != 0) {
        return {Engine::kNone, answer.output};
    }
    return {answer.output.starts_with("vellumo-engine") ? Engine::kEmbedded : Engine::kDocker,
            answer.output};
}

// It answers NAME warm PROCESS.
std::optional<pid_t> KeeperOfOffice(const std::string& container) {
    const Answer answer = AskEngine({"status", container}, kStatusLimit);
    return answer.status == 0 ? ProcessNumber(answer.output.substr(answer.output.rfind(' ') + 1))
                              : std::nullopt;
}

std::string HealthOf(const std::string& container) {
    const Answer answer =
        AskEngine({"inspect", "--type", "container", "--format",
                   "{{if .State.Health}}{{.State.Health.Status}}{{end}}", container},
                  kStatusLimit);
    return answer.status == 0 ? answer.output : "";
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

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#include "EngineClient.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "Descriptor.h"

namespace vellumo::cli {
namespace {

constexpr auto kVersionLimit = std::chrono::seconds(10);
constexpr size_t kLargestOutput = 65536;

struct FileCloser {
    void operator()(std::FILE* file) const {
        static_cast<void>(std::fclose(file));  // NOLINT(*-owning-memory): this is the owner
    }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// The descriptors of a program to be started: nothing to read, and `output` for what it writes.
class SpawnActions {
public:
    explicit SpawnActions(int output) {
        posix_spawn_file_actions_init(&_actions);
        posix_spawn_file_actions_addopen(&_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&_actions, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&_actions, output, STDERR_FILENO);
    }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&_actions); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    const posix_spawn_file_actions_t* Get() const { return &_actions; }

private:
    posix_spawn_file_actions_t _actions{};
};

std::string Contents(std::FILE* file) {
    std::string text(kLargestOutput, '\0');
    const ssize_t length = pread(fileno(file), text.data(), text.size(), 0);
    text.resize(length > 0 ? static_cast<size_t>(length) : 0);
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

// False when the process has not ended within `limit`.
bool WaitForEnd(pid_t process, std::chrono::seconds limit) {
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd end{handle.Get(), POLLIN, 0};
    return poll(&end, 1, static_cast<int>(std::chrono::milliseconds(limit).count())) > 0;
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

EngineAnswer AskEngine(const std::vector<std::string>& arguments, std::chrono::seconds limit) {
    const File output(std::tmpfile());
    if (!output) {
        return {-1, std::string("no temporary file: ") + std::strerror(errno)};
    }
    std::vector<std::string> words{kEngineClient};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    const SpawnActions actions(fileno(output.get()));
    pid_t process = 0;
    const int error =
        posix_spawn(&process, kEngineClient, actions.Get(), nullptr, argv.data(), environ);
    if (error != 0) {
        return {-1, std::string(kEngineClient) + ": " + std::strerror(error)};
    }
    const bool ended = WaitForEnd(process, limit);
    if (!ended) {
        kill(process, SIGKILL);
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (!ended) {
        return {-1, "no answer within " + std::to_string(limit.count()) + " seconds"};
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Contents(output.get())};
}

EngineFacts LookAtEngine() {
    const EngineAnswer answer = AskEngine({"--version"}, kVersionLimit);
    if (answer.status != 0) {
        return {Engine::kNone, answer.output};
    }
    return {answer.output.starts_with("vellumo-engine") ? Engine::kEmbedded : Engine::kDocker,
            answer.output};
}

std::vector<pid_t> Processes() {
    std::vector<pid_t> processes;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename();
        pid_t process = 0;
        const auto [end, bad] = std::from_chars(name.data(), name.data() + name.size(), process);
        if (bad == std::errc() && end == name.data() + name.size()) {
            processes.push_back(process);
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

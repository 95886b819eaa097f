// SPDX-License-Identifier: Apache-2.0
#include "Pulse.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include "support/Directory.h"

namespace vellumo::office {
namespace {

namespace fs = std::filesystem;

struct Threads {
    uint64_t time = 0;       // processor time of all, in ticks
    bool isRunning = false;  // one runs, waits for the processor, or waits for a disk
};

// Adds what the stat file of one thread tells: state and, as the 11th and 12th fields after it, its
// processor time. The program's name before them, in parentheses, may contain blanks and
// parentheses.
void Add(Threads& threads, const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    const size_t name = line.rfind(')');
    if (name == std::string::npos) {
        return;  // it has ended
    }
    std::istringstream fields(line.substr(name + 1));
    char state = 0;
    fields >> state;
    threads.isRunning = threads.isRunning || state == 'R' || state == 'D';
    std::string skipped;
    for (int i = 0; i < 10; ++i) {
        fields >> skipped;
    }
    uint64_t user = 0;
    uint64_t system = 0;
    fields >> user >> system;
    threads.time += user + system;
}

Threads ThreadsOf(pid_t process) {
    Threads threads;
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    for (const std::string& name : support::NamesIn(support::OpenDirectory(tasks))) {
        Add(threads, (fs::path(tasks) / name / "stat").string());
    }
    return threads;
}

}  // namespace

size_t MemoryOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    size_t total = 0;
    for (std::string word; file >> word;) {
        size_t kibibytes = 0;
        // Without RssFile, the programs.
        if ((word == "RssAnon:" || word == "RssShmem:" || word == "VmSwap:") && file >> kibibytes) {
            total += kibibytes * 1024;
        }
    }
    return total;
}

Pulse::Clock::duration Pulse::Feel() {
    const Threads threads = ThreadsOf(_process);
    if (threads.isRunning || threads.time != _time) {
        _time = threads.time;
        _since = Clock::now();
    }
    return Clock::now() - _since;
}

}  // namespace vellumo::office

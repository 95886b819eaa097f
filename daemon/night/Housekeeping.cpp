// SPDX-License-Identifier: Apache-2.0
#include "night/Housekeeping.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <set>
#include <thread>
#include <utility>

#include "app/Log.h"
#include "app/Signals.h"
#include "jobs/WorkerProcess.h"
#include "loader/Text.h"
#include "loader/cache/Collection.h"
#include "loader/cache/Sweep.h"
#include "loader/failures/FailureSweep.h"
#include "loader/settings/Settings.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFile.h"

namespace vellumo::daemon {
namespace {

constexpr int64_t kScratchAge = 3600;  // seconds; no conversion takes longer
constexpr size_t kResultSize = 4096;
constexpr auto kStopLimit = std::chrono::seconds(1);
constexpr int64_t kDaysOfAYear = 366;  // at most

using Leftovers = std::set<std::pair<loader::Leftover::Kind, std::string>>;

// What a first look finds.
class FirstLook : public loader::SweepWatch {
public:
    void Enters(const std::string& /*where*/) override {}
    void Finds(const loader::Leftover& leftover, const std::string& /*problem*/) override {
        _found.emplace(leftover.kind, leftover.path);
    }
    bool WantsEnd() override { return false; }

    const Leftovers& Found() const { return _found; }

private:
    Leftovers _found;
};

// Counts what a sweep finds, and spares what was none before.
class Tally : public loader::SweepWatch {
public:
    explicit Tally(const Leftovers& before) : _before(before) {}

    bool Spares(const loader::Leftover& leftover) override {
        return !_before.contains({leftover.kind, leftover.path});
    }
    void Enters(const std::string& /*where*/) override {}
    void Finds(const loader::Leftover& leftover, const std::string& problem) override {
        ++(problem.empty() ? _removed : _failed);
        if (!problem.empty()) {
            LogWarning("cannot remove " + leftover.path + ": " + problem);
        }
    }
    bool WantsEnd() override { return false; }

    std::string Text() const {
        return loader::Count(_removed, "leftover") + " removed" +
               (_failed == 0 ? "" : ", " + std::to_string(_failed) + " could not be removed");
    }

private:
    const Leftovers& _before;
    size_t _removed = 0;
    size_t _failed = 0;
};

// The products of a document that has just been renamed are those of one that is gone until the
// daemon moves them.
std::string CleanUp(std::chrono::seconds goneFor) {
    FirstLook before;
    loader::Sweep(true, kScratchAge, before);
    loader::SweepFailures(true, before);
    std::this_thread::sleep_for(goneFor);
    Tally tally(before.Found());
    loader::Sweep(false, kScratchAge, tally);
    loader::SweepFailures(false, tally);
    const auto limit = loader::LimitOf(loader::Settings::Read());
    if (!limit) {
        return tally.Text() + "; the limit of the cache is not known";
    }
    const loader::Collected collected =
        loader::CollectDownTo(*limit, "cannot keep to the limit of the cache");
    return tally.Text() + "; " + loader::Count(collected.streams, "kept PDF") +
           " beyond the limit removed";
}

[[noreturn]] void Work(const support::Descriptor& output, std::chrono::seconds goneFor) {
    Signals::Restore();
    MakeBackground(getpid());
    std::string result;
    bool succeeds = false;
    try {
        result = CleanUp(goneFor);
        succeeds = true;
    } catch (const loader::Failure& failure) {
        result = InOneLine(failure.Details());
    } catch (const std::exception& error) {
        result = error.what();
    }
    result.resize(std::min(result.size(), kResultSize));
    const bool isTold =
        write(output.Get(), result.data(), result.size()) == static_cast<ssize_t>(result.size());
    _exit(succeeds && isTold ? EXIT_SUCCESS : EXIT_FAILURE);
}

}  // namespace

// Counts the days from one time of day `at` to the next. Only their order matters.
bool IsDue(std::chrono::minutes at, std::chrono::system_clock::time_point now, int64_t& lastDay) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now - at);
    std::tm local{};
    localtime_r(&seconds, &local);
    const int64_t day = local.tm_year * kDaysOfAYear + local.tm_yday;
    const bool isDue = lastDay >= 0 && day > lastDay;
    lastDay = std::max(lastDay, day);
    return isDue;
}

Housekeeping::~Housekeeping() {
    Stop();
    if (_process != 0) {
        if (!support::EndsWithin(_process, kStopLimit)) {
            kill(_process, SIGKILL);
        }
        int status = 0;
        support::WaitForEnd(_process, status);
    }
}

void Housekeeping::Stop() const {
    if (_process != 0) {
        kill(_process, SIGTERM);
    }
}

void Housekeeping::Step(const Rules& rules, std::chrono::system_clock::time_point now) {
    if (_process != 0) {
        Collect();
    } else if (IsDue(rules.at, now, _lastDay)) {
        Begin(rules.goneFor);
    }
}

void Housekeeping::Begin(std::chrono::seconds goneFor) {
    _output = support::OpenNamelessFile();
    const pid_t process = _output ? fork() : -1;
    if (process == 0) {
        Work(_output, goneFor);
    }
    if (process < 0) {
        LogWarning("housekeeping is put off to the next day: no process can be started");
        return;
    }
    LogInfo("housekeeping begins");
    _process = process;
}

void Housekeeping::Collect() {
    if (!support::EndsWithin(_process, std::chrono::milliseconds(0))) {
        return;
    }
    int status = 0;
    support::WaitForEnd(_process, status);
    _process = 0;
    const std::string said = support::ReadTail(_output, kResultSize);
    _result = said.empty() ? "ended without a result" : said;
    if (WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS) {
        LogInfo("housekeeping: " + _result);
    } else {
        LogWarning("housekeeping has failed: " + _result);
    }
}

}  // namespace vellumo::daemon

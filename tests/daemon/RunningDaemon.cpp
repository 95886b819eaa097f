// SPDX-License-Identifier: Apache-2.0
#include "RunningDaemon.h"

#include <csignal>

#include "StateFile.h"
#include "loader/daemon/DaemonClient.h"
#include "vellumo/Constants.h"
#include "vellumo/TaskDB.h"

namespace vellumo::test {
namespace {

namespace core = NAVO::VELLUMO;

constexpr auto kAnswerLimit = std::chrono::seconds(10);

bool Answers() {
    return loader::AskDaemon("status", kAnswerLimit).has_value();
}

// env becomes the daemon, so the process is the daemon's.
int BecomeDaemon(const std::vector<std::string>& surroundings) {
    std::vector<std::string> command{"env"};
    command.insert(command.end(), surroundings.begin(), surroundings.end());
    command.emplace_back(VELLUMO_DAEMON);
    return BecomeProgram(command);
}

}  // namespace

RunningDaemon::RunningDaemon(const std::vector<std::string>& surroundings)
    : _process([&] { return BecomeDaemon(surroundings); }) {
    EXPECT_TRUE(ComesTrue(Answers)) << "the daemon does not answer";
}

int RunningDaemon::Stop() {
    Signal(SIGTERM);
    return Wait();
}

Json::Value RunningDaemon::Status() {
    return Parsed(loader::AskDaemon("status", kAnswerLimit).value_or("null"));
}

bool RunningDaemon::IsDone() {
    return ComesTrue([] {
        const Json::Value status = Status();
        if (!status.isObject() || !status["running"].empty() || status["queue"] != 0 ||
            status["deferred"] != 0 || status["unsettled"] != 0 || status["folder"] != "") {
            return false;
        }
        for (const Json::Value& waiting : status["waiting"]) {
            if (waiting != 0) {
                return false;
            }
        }
        return true;
    });
}

int RunVellumo(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VELLUMO_TOOL);
    return RunProgram(arguments).status;
}

std::string MakeDocument(const std::string& name, const std::string& content) {
    const std::string path = "/volume1/docs/" + name;
    MakeDirectory(path.substr(0, path.rfind('/')));
    WriteFile(path, content);
    return path;
}

bool HasPdf(const std::string& realPath) {
    return Exists(StreamOf(realPath, core::SZK_THUMB_PDF_TYPE));
}

bool HasThumbnail(const std::string& realPath) {
    return Exists(StreamOf(realPath, core::SZK_THUMB_TYPE));
}

bool HasBoth(const std::string& realPath) {
    return HasPdf(realPath) && HasThumbnail(realPath);
}

size_t QueuedTasks() {
    core::TaskDB queue;
    std::vector<core::TaskDB::Task> tasks;
    EXPECT_TRUE(queue.OpenDB() && queue.GetTasks(tasks, 0));
    return tasks.size();
}

}  // namespace vellumo::test

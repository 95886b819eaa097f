// SPDX-License-Identifier: Apache-2.0
#include "Tool.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "StateFile.h"
#include "vellumo/ConfigManager.h"
#include "vellumo/Constants.h"

namespace vellumo::test {
namespace {

constexpr const char* kOut = "/device/stdout";
constexpr const char* kErr = "/device/stderr";

void Redirect(const char* file, int descriptor) {
    dup2(open(file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666), descriptor);
}

void BecomeUser(uid_t user) {
    if (user != 0 && (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0)) {
        _exit(126);
    }
}

int BecomeTool(const std::vector<std::string>& arguments, uid_t user) {
    std::vector<std::string> command{VELLUMO_TOOL};
    command.insert(command.end(), arguments.begin(), arguments.end());
    setpgid(0, 0);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    Redirect(kOut, STDOUT_FILENO);
    Redirect(kErr, STDERR_FILENO);
    BecomeUser(user);
    return chdir(kOutputDir) == 0 ? BecomeProgram(command) : 127;
}

}  // namespace

RunningTool::RunningTool(const std::vector<std::string>& arguments, uid_t user)
    : _begin(std::chrono::steady_clock::now()),
      _process([&] { return BecomeTool(arguments, user); }) {}

Outcome RunningTool::Wait() {
    Outcome outcome;
    outcome.status = _process.Wait();
    outcome.took =
        std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - _begin);
    outcome.out = ReadFile(kOut);
    outcome.err = ReadFile(kErr);
    return outcome;
}

bool Says(const std::string& text) {
    return ComesTrue([&] { return ReadFile(kErr).find(text) != std::string::npos; });
}

std::vector<pid_t> ProcessesOf(const std::string& program) {
    std::vector<pid_t> processes;
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
        if (ReadFile(process.path() / "comm") == program + '\n') {
            processes.push_back(std::stoi(process.path().filename()));
        }
    }
    return processes;
}

Outcome RunTool(const std::vector<std::string>& arguments) {
    return RunningTool(arguments).Wait();
}

Json::Value RunForJson(std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    const Outcome outcome = RunTool(arguments);
    Json::Value document = Parsed(outcome.out);
    EXPECT_TRUE(document.isObject()) << "not one JSON object: " << outcome.out;
    EXPECT_EQ(outcome.err, "") << "nothing is said beside the JSON";
    if (document.isObject()) {
        EXPECT_EQ(document["exitCode"], outcome.status);
        EXPECT_EQ(document["ok"], outcome.status == 0);
        EXPECT_EQ(document.isMember("error"), outcome.status != 0);
    }
    return document;
}

void InstallDocker(const std::string& script) {
    constexpr const char* kDocker = "/device/bin/docker";
    std::filesystem::remove(kDocker);
    WriteFile(kDocker, "#!/bin/bash\n" + script);
    std::filesystem::permissions(kDocker, std::filesystem::perms(0755));
}

void FreeContainers() {
    NAVO::VELLUMO::ConfigManager manager(kStateFile, 5);
    const NAVO::VELLUMO::ConfigWriter writer(manager);
    manager.config["navo1"]["using"] = 0;
    manager.config["navo2"]["using"] = 0;
}

void MakeDocument(const std::string& name, const std::string& content) {
    WriteFile("/volume1/docs/" + name, content);
}

ToolTest::ToolTest() {
    std::filesystem::remove(NAVO::VELLUMO::SZF_CACHE_DB_PATH);
    std::filesystem::remove_all(kOutputDir);
    std::filesystem::create_directory(kOutputDir);
    std::filesystem::permissions(kOutputDir, std::filesystem::perms(0777));
}

void ToolTest::ExpectStatus(const Outcome& outcome, ExitCode code) {
    EXPECT_EQ(outcome.status, static_cast<int>(code))
        << "output: " << outcome.out << "\nerrors: " << outcome.err;
}

void ToolTest::ExpectScratchEmpty() {
    EXPECT_THAT(ScratchFiles(), testing::IsEmpty());
}

void ToolTest::ExpectPoolIdle() {
    const Json::Value state = State();
    ASSERT_TRUE(state.isObject()) << StateText();
    for (const std::string& name : state.getMemberNames()) {
        if (name.starts_with("navo")) {
            EXPECT_EQ(state[name]["using"], 0) << name;
        }
    }
    EXPECT_EQ(state["runningQueue"], Parsed("{}"));
    EXPECT_EQ(state["waitingQueue"], Parsed("[{},{},{}]"));
}

}  // namespace vellumo::test

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_TOOL_H
#define VELLUMO_TESTS_TOOL_H

#include <json/value.h>
#include <json/writer.h>
#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "Device.h"
#include "Process.h"
#include "app/ExitCode.h"

namespace vellumo::test {

using cli::ExitCode;
using Milliseconds = std::chrono::milliseconds;

inline constexpr const char* kOutputDir = "/device/out";

// What a call of the program came to.
struct Outcome {
    int status = 0;  // exit status, or minus the signal that ended it
    std::string out;
    std::string err;
    Milliseconds took{};
};

// A call of the program, in a process group of its own, with kOutputDir as its working directory;
// killed at the end when it has not ended before. Its standard output and error go to files, so
// that nobody waits for them.
class RunningTool {
public:
    // `user`: the account that it runs as, 0 for the test's own.
    explicit RunningTool(const std::vector<std::string>& arguments, uid_t user = 0);

    pid_t Process() const { return _process.Id(); }
    void Signal(int signal) const { _process.Signal(signal); }
    Outcome Wait();

private:
    std::chrono::steady_clock::time_point _begin;
    ChildProcess _process;
};

// Whether a call that runs says so on its standard error; waits for it.
bool Says(const std::string& text);

Outcome RunTool(const std::vector<std::string>& arguments);

// Runs it with --json; the whole standard output must be one JSON document.
Json::Value RunForJson(std::vector<std::string> arguments);

// Puts a program of the test's own in the scripted tools' place.
void InstallDocker(const std::string& script);

// Gives back the slots that a test has taken for itself, under the lock that others keep to.
void FreeContainers();

// A document in the share docs.
void MakeDocument(const std::string& name, const std::string& content = "some document");

// A fresh device with an empty kOutputDir.
class ToolTest : public DeviceTest {
protected:
    ToolTest();

    static void ExpectStatus(const Outcome& outcome, ExitCode code);
    static void ExpectScratchEmpty();
    // No job waits or runs, and no container counts as busy.
    static void ExpectPoolIdle();
};

}  // namespace vellumo::test

#endif

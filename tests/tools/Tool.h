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

// The result of a call of the program.
struct Outcome {
    int status = 0;  // exit status, or minus the number of the signal that ended it
    std::string out;
    std::string err;
    Milliseconds took{};
};

// A call of the program in its own process group, with kOutputDir as its working directory. The
// destructor kills it if it is still running. Its standard output and standard error go to files,
// so that it never blocks on a pipe.
class RunningTool {
public:
    // `user`: the user id with which the program runs; 0 for the test's own.
    explicit RunningTool(const std::vector<std::string>& arguments, uid_t user = 0);

    pid_t Process() const { return _process.Id(); }
    void Signal(int signal) const { _process.Signal(signal); }
    Outcome Wait();

private:
    std::chrono::steady_clock::time_point _begin;
    ChildProcess _process;
};

// Waits until a running call has written `text` to its standard error; false if it does not.
bool Says(const std::string& text);

// The processes whose program file has the name `program`.
std::vector<pid_t> ProcessesOf(const std::string& program);

Outcome RunTool(const std::vector<std::string>& arguments);

// Runs it with --json; the whole standard output must be one JSON document.
Json::Value RunForJson(std::vector<std::string> arguments);

// Replaces the scripted tools by the test's own program.
void InstallDocker(const std::string& script);

// Releases the slots that a test has taken, under the state file's lock.
void FreeContainers();

// Creates a document in the share docs.
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

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_RUNNINGDAEMON_H
#define VELLUMO_TESTS_RUNNINGDAEMON_H

#include <json/value.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "Device.h"
#include "Process.h"

namespace vellumo::test {

// The program navovellumod; killed at the end if it still runs.
class RunningDaemon {
public:
    // Starts it, and waits until it answers. `surroundings`: variables for it, as NAME=VALUE.
    explicit RunningDaemon(const std::vector<std::string>& surroundings = {});

    pid_t Id() const { return _process.Id(); }
    void Signal(int signal) const { _process.Signal(signal); }

    // Requests it to stop, and returns its exit status.
    int Stop();
    int Wait() { return _process.Wait(); }

    // What it says about itself.
    static Json::Value Status();

    // Waits until it has nothing to do.
    static bool IsDone();

private:
    ChildProcess _process;
};

// Runs the command line and returns its exit status.
int RunVellumo(std::vector<std::string> arguments);

// A document in the share docs, and the real path of it.
std::string MakeDocument(const std::string& name, const std::string& content = "some document");

// Whether a PDF, or a thumbnail, is kept of the document with this real path.
bool HasPdf(const std::string& realPath);
bool HasThumbnail(const std::string& realPath);
bool HasBoth(const std::string& realPath);

// How many rows the queue has.
size_t QueuedTasks();

}  // namespace vellumo::test

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_TOOLPROCESS_H
#define VELLUMO_LOADER_TOOLPROCESS_H

#include <sys/types.h>

#include <chrono>

namespace vellumo::loader {

// What a worker process does, as its child processes show: the library starts a program for every
// step that takes time, and has none while it waits for a container.
enum class Activity { kNone, kFiles, kTool };

struct WorkerActivity {
    Activity activity = Activity::kNone;
    pid_t tool = 0;  // for kTool: the docker client, or the engine that replaced it
};

// Reads the child processes of `worker` from /proc.
WorkerActivity ActivityOf(pid_t worker);

// Ends the tools of one worker: in its container where a container engine runs the tool, else with
// SIGTERM. Kills the engine's client with SIGKILL when it still runs 5 seconds later (8 in a
// container, where more is to end).
class ToolStopper {
public:
    explicit ToolStopper(pid_t worker) : _worker(worker) {}
    ~ToolStopper();
    ToolStopper(const ToolStopper&) = delete;
    ToolStopper& operator=(const ToolStopper&) = delete;

    // Ends the tool if one runs; false if none does. Does not wait: call it repeatedly until the
    // worker has ended.
    bool StopTool();

private:
    void Begin(pid_t tool);
    bool CouldNotEnd();

    pid_t _worker;
    pid_t _stopping = 0;
    pid_t _ender = 0;  // the process that ends the tool in its container; 0 when there is none
    std::chrono::steady_clock::time_point _since;
};

}  // namespace vellumo::loader

#endif

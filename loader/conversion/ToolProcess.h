// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_TOOLPROCESS_H
#define VELLUMO_LOADER_TOOLPROCESS_H

#include <sys/types.h>

#include <chrono>

namespace vellumo::loader {

// What a converting process does, told by its children: the library starts a program for every
// step that takes time, and waits for a slot without one.
enum class Activity { kNone, kFiles, kTool };

struct WorkerActivity {
    Activity activity = Activity::kNone;
    pid_t tool = 0;  // the docker client (or the engine that it has become), for kTool
};

WorkerActivity ActivityOf(pid_t worker);

// Ends the tools of one worker: politely at first, and by force when one goes on for longer than
// any needs to end.
class ToolStopper {
public:
    explicit ToolStopper(pid_t worker) : _worker(worker) {}

    // Looks whether a tool runs and, if so, ends it. To be called again and again until the worker
    // has ended. Returns whether there was one.
    bool StopTool();

private:
    pid_t _worker;
    pid_t _stopping = 0;
    std::chrono::steady_clock::time_point _since;
};

}  // namespace vellumo::loader

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_SANDBOX_H
#define VELLUMO_ENGINE_SANDBOX_SANDBOX_H

#include <functional>
#include <string>
#include <vector>

#include "sandbox/ChildProcess.h"
#include "sandbox/Words.h"
#include "scratch/Scratch.h"

namespace vellumo::engine {

// What one sandbox has beside what every one has, and what runs in it.
struct SandboxPlan {
    struct Place {
        std::string outside;  // a directory of the host
        std::string inside;
        bool isWritable;
    };
    struct Variable {
        std::string name;
        std::string value;
    };

    std::vector<Place> places;
    std::vector<Variable> environment = {};
    Words powers = {};      // capabilities of its root, who has none else
    bool asNobody = false;  // runs `command` as `nobody`, not as its root
    Words command;
    std::function<bool()> mayGoOn = nullptr;  // see Program
};

// Runs a command in a sandbox and returns its exit status once nothing of it runs any more.
//
// What it has: the system's programs, read-only; the tools' settings and replacements that come
// with the engine; memory for /tmp and its home, within `Limits`; what `plan` says. What it has
// not: a network, other processes, other files, capabilities, the caller's environment, the system
// calls that SystemCallFilter refuses.
//
// Throws Failure when there is no sandbox to be had; bubblewrap's own reason goes to standard
// error.
int RunInSandbox(const SandboxPlan& plan, ChildProcess& child);

// Runs a converter's `command` in such a sandbox, with `scratch`'s source, read-only, and target
// under the names that every container has for them. When what it leaves in the target takes over
// 768 MiB, it is ended with kTooLarge. It runs as `nobody` where that is another user than the
// engine's, else as a root without any power.
int RunInSandbox(const Words& command, const PrivateScratch& scratch, ChildProcess& child);

}  // namespace vellumo::engine

#endif

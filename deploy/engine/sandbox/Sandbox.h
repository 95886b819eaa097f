// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_SANDBOX_H
#define VELLUMO_ENGINE_SANDBOX_SANDBOX_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "sandbox/ChildProcess.h"
#include "sandbox/Words.h"
#include "scratch/Scratch.h"

namespace vellumo::engine {

// The properties of one sandbox, in addition to those that all have in common, and its command.
struct SandboxPlan {
    struct Place {
        std::string outside;  // path of a directory on the host
        std::string inside;   // its path in the sandbox
        bool isWritable;
    };
    struct Variable {
        std::string name;
        std::string value;
    };

    std::vector<Place> places;
    std::vector<Variable> environment = {};
    Words powers = {};               // the only capabilities of the sandbox's root
    std::optional<uid_t> user = {};  // runs `command` as this user instead of the sandbox's root
    Words command;
};

// Runs a command in a sandbox, waits until all its processes have ended, and returns its exit
// status.
//
// The command has the system's programs, read-only; the engine's settings and wrappers for the
// tools; a /tmp and a home directory in memory, within `Limits`; and what `plan` adds. It has no
// network, no other processes, no other files, no capabilities, nothing of the caller's
// environment, and none of the system calls that SystemCallFilter refuses.
//
// Throws Failure when no sandbox can be set up; bubblewrap writes the reason to standard error.
int RunInSandbox(const SandboxPlan& plan, ChildProcess& child);

// Runs a converter's `command` in such a sandbox. The source directory of `scratch`, read-only, and
// its target directory have the same paths in it as in every container. It runs as the user of
// `scratch`, or as a root without capabilities where that has none.
int RunInSandbox(const Words& command, const PrivateScratch& scratch, ChildProcess& child);

}  // namespace vellumo::engine

#endif

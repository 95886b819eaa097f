// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_SANDBOX_H
#define VELLUMO_ENGINE_SANDBOX_SANDBOX_H

#include <string>
#include <vector>

#include "sandbox/ChildProcess.h"
#include "scratch/Scratch.h"
#include "warm/WarmPlace.h"

namespace vellumo::engine {

// Runs `command` in a sandbox and returns its exit status once nothing of it runs any more.
//
// What it has: the system's programs, read-only; the tools' settings and replacements that come
// with the engine; `scratch`'s source, read-only, and target under the names that every container
// has for them; memory for /tmp and its home, within `Limits`. When what it leaves in the target
// takes over 768 MiB, it is ended with kTooLarge. What it has not: a network, other
// processes, other files, capabilities, the caller's environment, the system calls that
// SystemCallFilter refuses. It runs as `nobody` where that is another user than the engine's, else
// as a root without any power.
//
// Throws Failure when there is no sandbox to be had; bubblewrap's own reason goes to standard
// error.
int RunInSandbox(const std::vector<std::string>& command, const PrivateScratch& scratch,
                 ChildProcess& child);

// Keeps an office warm in such a sandbox until this process is told to end, or the sandbox ends.
//
// Instead of the scratch directories it has `place`'s rooms and socket, under the names that they
// have outside. The office's keeper may hand a room to `nobody`, become that user and end what it
// runs; the office itself is as powerless as any tool. Variables VELLUMO_OFFICE_… of the engine's
// environment are the keeper's too.
void KeepOfficeWarm(const WarmPlace& place, ChildProcess& child);

}  // namespace vellumo::engine

#endif

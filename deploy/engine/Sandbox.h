// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_H
#define VELLUMO_ENGINE_SANDBOX_H

#include <string>
#include <vector>

#include "ChildProcess.h"
#include "Scratch.h"

namespace vellumo::engine {

// Runs `command` in a sandbox and returns its exit status once nothing of it runs any more.
//
// What it has: the system's programs, read-only; the tools' settings and replacements that come
// with the engine; `scratch`'s source, read-only, and target under the names that every container
// has for them; memory for /tmp and its home. What it has not: a network, other processes, other
// files, capabilities, the caller's environment. It runs as `nobody` where that is another user
// than the engine's, else as a root without any power.
//
// Throws Failure when there is no sandbox to be had; bubblewrap's own reason goes to standard
// error.
int RunInSandbox(const std::vector<std::string>& command, const PrivateScratch& scratch,
                 ChildProcess& child);

}  // namespace vellumo::engine

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_ENGINECLIENT_H
#define VELLUMO_LOADER_ENGINECLIENT_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/Program.h"

namespace vellumo::loader {

// Where the library finds the client of the container engine, whichever engine that is.
inline constexpr const char* kEngineClient = "/usr/local/bin/docker";

// Calls the container engine's client with `arguments` and waits for it, no longer than `limit`.
support::Answer AskEngine(const std::vector<std::string>& arguments, std::chrono::seconds limit);

// The ids of all processes.
std::vector<pid_t> Processes();

// A command that a client of the engine runs in a container now.
struct RunningCommand {
    pid_t client;
    std::string container;
    std::string command;  // the tool and its arguments
};

// All of them, by the process table; only root sees those of other users.
std::vector<RunningCommand> RunningCommands();

}  // namespace vellumo::loader

#endif

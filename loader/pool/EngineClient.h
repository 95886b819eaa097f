// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_ENGINECLIENT_H
#define VELLUMO_LOADER_ENGINECLIENT_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/Program.h"

namespace vellumo::loader {

// The path at which the library calls the client of the container engine, whichever engine it is.
inline constexpr const char* kEngineClient = "/usr/local/bin/docker";

// Runs the container engine's client with `arguments` and waits for it for at most `limit`.
support::Answer AskEngine(const std::vector<std::string>& arguments, std::chrono::seconds limit);

// Makes the container engine end the command that its client `client` runs: a container engine,
// unlike the embedded one, lets a command run on when its client is ended. The client ends when the
// command has ended, which this function does not wait for. Returns the process that sees to it, a
// child of this process; 0 when the client does not talk to a container engine or runs no
// document's command.
pid_t EndCommandOf(pid_t client);

// The ids of all processes in /proc.
std::vector<pid_t> Processes();

// A command that runs in a container now, as the engine's client that runs it shows.
struct RunningCommand {
    pid_t client;
    std::string container;
    std::string command;  // the tool and its arguments
};

// All of them, found in /proc. Only root sees those of other users.
std::vector<RunningCommand> RunningCommands();

}  // namespace vellumo::loader

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_ENGINECLIENT_H
#define VELLUMO_TOOLS_ENGINECLIENT_H

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "Program.h"

namespace vellumo::cli {

inline constexpr const char* kEngineClient = "/usr/local/bin/docker";

// Calls the container engine's client with `arguments` and waits for it, no longer than `limit`.
Answer AskEngine(const std::vector<std::string>& arguments, std::chrono::seconds limit);

// Which engine stands behind the client.
enum class Engine {
    kNone,      // there is no client, or it does not answer
    kEmbedded,  // sandboxes without a daemon
    kDocker
};
struct EngineFacts {
    Engine engine;
    std::string version;  // what the client says of itself, or why it says nothing
};
EngineFacts LookAtEngine();

// The process with which the embedded engine keeps an office warm for `container`; none when it
// does not.
std::optional<pid_t> KeeperOfOffice(const std::string& container);

// What the engine's health check says of `container`: "healthy", kUnhealthy or "starting"; "" when
// there is none.
inline constexpr const char* kUnhealthy = "unhealthy";
std::string HealthOf(const std::string& container);

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

}  // namespace vellumo::cli

#endif

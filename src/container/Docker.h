// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONTAINER_DOCKER_H
#define VELLUMO_CONTAINER_DOCKER_H

#include <string>
#include <vector>

// Commands in containers.
namespace NAVO::VELLUMO::docker {

inline constexpr int kTimeLimitSecs = 120;
inline constexpr int kKillAfterSecs = 5;          // a command that ignores the end of its time
inline constexpr int kTimeLimitExitStatus = 124;  // when the limit was reached

// Runs `command` in `container` under the time limit and waits for it. Returns its exit status, or
// a negative value when the client could not be started or waited for.
int Run(const std::string& container, const std::vector<std::string>& command);

enum class Activity { kIdle, kBusy, kUnknown };

// Looks whether a command that Run has started is still there. Blocks for a moment.
Activity ActivityIn(const std::string& container);

}  // namespace NAVO::VELLUMO::docker

#endif

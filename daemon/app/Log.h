// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_LOG_H
#define VELLUMO_DAEMON_LOG_H

#include <string>

#include "loader/Problem.h"

// The daemon's messages in the system log; also on the standard error when that is a terminal.
namespace vellumo::daemon {

void OpenLog();

void LogInfo(const std::string& text);
void LogWarning(const std::string& text);
void LogError(const std::string& text);

// "WHAT: WHY. NEXT" in one line.
std::string InOneLine(const loader::Problem& problem);

}  // namespace vellumo::daemon

#endif

// SPDX-License-Identifier: Apache-2.0
#include "app/Log.h"

#include <syslog.h>
#include <unistd.h>

namespace vellumo::daemon {

void OpenLog() {
    openlog("navovellumod", LOG_PID | (isatty(STDERR_FILENO) == 1 ? LOG_PERROR : 0), LOG_DAEMON);
}

void LogInfo(const std::string& text) {
    syslog(LOG_INFO, "%s", text.c_str());
}

void LogWarning(const std::string& text) {
    syslog(LOG_WARNING, "%s", text.c_str());
}

void LogError(const std::string& text) {
    syslog(LOG_ERR, "%s", text.c_str());
}

std::string InOneLine(const loader::Problem& problem) {
    std::string text = problem.what + ": " + problem.why;
    for (const std::string& line : problem.toolOutput) {
        text += "; " + line;
    }
    return problem.next.empty() ? text : text + ". " + problem.next;
}

}  // namespace vellumo::daemon

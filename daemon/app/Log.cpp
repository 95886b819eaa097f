// SPDX-License-Identifier: Apache-2.0
#include "app/Log.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>

namespace vellumo::daemon {
namespace {

// Users choose names, and a line break in one would begin a message of theirs.
std::string Printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
    return text;
}

}  // namespace

void OpenLog() {
    openlog("navovellumod", LOG_PID | (isatty(STDERR_FILENO) == 1 ? LOG_PERROR : 0), LOG_DAEMON);
}

void LogInfo(const std::string& text) {
    syslog(LOG_INFO, "%s", Printable(text).c_str());
}

void LogWarning(const std::string& text) {
    syslog(LOG_WARNING, "%s", Printable(text).c_str());
}

void LogError(const std::string& text) {
    syslog(LOG_ERR, "%s", Printable(text).c_str());
}

std::string InOneLine(const loader::Problem& problem) {
    std::string text = problem.what + ": " + problem.why;
    for (const std::string& line : problem.toolOutput) {
        text += "; " + line;
    }
    return problem.next.empty() ? text : text + ". " + problem.next;
}

}  // namespace vellumo::daemon

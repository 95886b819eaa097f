// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_LOG_H
#define VELLUMO_COMMON_LOG_H

// The format of log messages. A message goes to the system log with priority LOG_ERR and the
// process's own facility and identity. It begins with the name of the source that reports it (a
// fixed text such as "utils", not always a file name) and a line number.
namespace NAVO::VELLUMO::log {

// Logs "SOURCE:LINE (PID) " and the formatted text; appends " [err: …]" with errno's text when
// errno is not 0. Sets errno to 0.
void Error(const char* source, int line, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Logs "Failed [CONDITION]" as Error does. `condition`: the text of the check that reports the
// failure.
void Failed(const char* source, int line, const char* condition);

// Logs "SOURCE:LINE " and the formatted text, without process id and without errno's text. Leaves
// errno as it is.
void Plain(const char* source, int line, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace NAVO::VELLUMO::log

#endif

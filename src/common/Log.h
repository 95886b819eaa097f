// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_LOG_H
#define VELLUMO_COMMON_LOG_H

// The log convention. A message goes to the system log at LOG_ERR, under the process's own facility
// and identity, and begins with the name of the source that reports it (a text of the convention,
// such as "utils", not necessarily a file name) and a line.
namespace NAVO::VELLUMO::log {

// Logs "SOURCE:LINE (PID) " and the formatted text, with " [err: …]" (errno's text) appended when
// errno is not 0; errno is 0 afterwards.
void Error(const char* source, int line, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Logs that `condition`, the text of a check as it is written in the code, did not hold.
void Failed(const char* source, int line, const char* condition);

// Logs "SOURCE:LINE " and the formatted text: the form without process id, which leaves errno out
// of the message and alone.
void Plain(const char* source, int line, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace NAVO::VELLUMO::log

#endif

// SPDX-License-Identifier: Apache-2.0
#include "common/Log.h"

#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

namespace NAVO::VELLUMO::log {
namespace {

// Returns the whole text, however long: a path alone may have 4096 bytes. Leaves errno as it is.
std::string Format(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

std::string Format(const char* format, va_list arguments) {
    const int error = errno;
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length < 0) {
        return format;  // even unformatted, the text shows which message this is
    }
    std::string text(static_cast<size_t>(length), '\0');
    (void)std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    errno = error;
    return text;
}

}  // namespace

void Error(const char* source, int line, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = Format(format, arguments);
    va_end(arguments);

    const int pid = getpid();
    if (errno == 0) {
        syslog(LOG_ERR, "%s:%d (%d) %s", source, line, pid, text.c_str());
    } else {
        syslog(LOG_ERR, "%s:%d (%d) %s [err: %s]", source, line, pid, text.c_str(),
               std::strerror(errno));
    }
    errno = 0;
}

void Failed(const char* source, int line, const char* condition) {
    Error(source, line, "Failed [%s]", condition);
}

void Plain(const char* source, int line, const char* format, ...) {
    const int error = errno;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = Format(format, arguments);
    va_end(arguments);

    syslog(LOG_ERR, "%s:%d %s", source, line, text.c_str());
    errno = error;
}

}  // namespace NAVO::VELLUMO::log

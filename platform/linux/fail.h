// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_FAIL_H
#define NAVO_LINUX_FAIL_H

#include <navo/error.h>

#include <cerrno>

namespace NAVO::platform {

// Makes `code` this thread's last error, arisen where Fail is called, and sets errno to `error`.
// Returns -1, which most operations return then. The last two arguments are never passed.
int Fail(NAVOError code, int error = errno, const char* file = __builtin_FILE(),
         int line = __builtin_LINE());

// For an operation that tries things that may fail on its way to success: when the object ends and
// Fail was not called meanwhile, errno is again what the caller had, so that a stale one never
// shows up in the caller's next message.
class SuccessKeepsErrno {
public:
    SuccessKeepsErrno();
    ~SuccessKeepsErrno();
    SuccessKeepsErrno(const SuccessKeepsErrno&) = delete;
    SuccessKeepsErrno& operator=(const SuccessKeepsErrno&) = delete;

private:
    int _errno;
    unsigned long _failures;
};

}  // namespace NAVO::platform

#endif

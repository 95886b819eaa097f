// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_FAIL_H
#define NAVO_LINUX_FAIL_H

#include <navo/error.h>

#include <cerrno>

namespace NAVO::platform {

// Sets this thread's last error to `code`, with the place of the call of Fail, and errno to
// `error`. Returns -1, which most operations then return too. Callers never pass the last two
// arguments.
int Fail(NAVOError code, int error = errno, const char* file = __builtin_FILE(),
         int line = __builtin_LINE());

// For an operation in which steps may fail although the operation succeeds. If Fail has not been
// called while the object lived, the destructor restores errno, so that a meaningless errno never
// appears in the caller's next message.
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

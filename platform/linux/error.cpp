// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "fail.h"

namespace NAVO::platform {
namespace {

struct LastError {
    NAVOError code = NAVO_ERR_NONE;
    const char* file = "";
    int line = 0;
    unsigned long failures = 0;
};

thread_local LastError lastError;

const char* BaseName(const char* file) {
    const char* slash = std::strrchr(file, '/');
    return slash == nullptr ? file : slash + 1;
}

}  // namespace

int Fail(NAVOError code, int error, const char* file, int line) {
    lastError = {code, BaseName(file), line, lastError.failures + 1};
    errno = error;
    return -1;
}

SuccessKeepsErrno::SuccessKeepsErrno() : _errno(errno), _failures(lastError.failures) {}

SuccessKeepsErrno::~SuccessKeepsErrno() {
    if (lastError.failures == _failures) {
        errno = _errno;
    }
}

}  // namespace NAVO::platform

int NLIBCErrGet() {
    return NAVO::platform::lastError.code;
}

const char* NLIBCErrorGetFile() {
    return NAVO::platform::lastError.file;
}

int NLIBCErrorGetLine() {
    return NAVO::platform::lastError.line;
}

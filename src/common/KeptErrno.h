// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_KEPTERRNO_H
#define VELLUMO_COMMON_KEPTERRNO_H

#include <cerrno>

namespace NAVO::VELLUMO {

// Restores errno at the end of the scope. A message in the system log shows the errno of the step
// that it is about, not that of work done on the side.
class KeptErrno {
public:
    KeptErrno() = default;
    ~KeptErrno() { errno = _error; }
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

private:
    int _error = errno;
};

}  // namespace NAVO::VELLUMO

#endif

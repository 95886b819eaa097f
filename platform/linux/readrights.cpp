// SPDX-License-Identifier: Apache-2.0
#include "readrights.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace NAVO::platform {
namespace {

constexpr uint32_t kRight = 1U << CAP_DAC_READ_SEARCH;

using Data = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

// The system calls change the calling thread alone.
bool Get(Data& data) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    return syscall(SYS_capget, &header, data.data()) == 0;
}

bool Set(const Data& data) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    return syscall(SYS_capset, &header, data.data()) == 0;
}

}  // namespace

ReadRights::ReadRights() {
    const int error = errno;
    Data data{};
    if (Get(data) && (data[0].permitted & kRight) != 0 && (data[0].effective & kRight) == 0) {
        _before = data[0].effective;
        data[0].effective |= kRight;
        _raised = Set(data);
    }
    errno = error;
}

ReadRights::~ReadRights() {
    const int error = errno;
    Data data{};
    if (_raised && Get(data)) {
        data[0].effective = _before;
        Set(data);
    }
    errno = error;
}

}  // namespace NAVO::platform

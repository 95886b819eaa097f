// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <navo/acl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <initializer_list>

#include "fail.h"
#include "parameters.h"

namespace NAVO::platform {
namespace {

// The NAVO_ACL_… bits equal R_OK, W_OK and X_OK.
static_assert(NAVO_ACL_READ == R_OK && NAVO_ACL_WRITE == W_OK && NAVO_ACL_EXECUTE == X_OK);

// The kernel's answer for the effective ids. Does not use the C library's faccessat: on a kernel
// without this system call that function computes the answer from the mode bits, which ignores
// access control lists.
bool IsGranted(const char* path, unsigned permission) {
    return syscall(SYS_faccessat2, AT_FDCWD, path, permission, AT_EACCESS) == 0;
}

}  // namespace
}  // namespace NAVO::platform

int NAVOACLPermGet(const char* path, unsigned* mask) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    if (NAVO::platform::IsEmpty(path) || mask == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    if (!NAVO::platform::IsGranted(path, F_OK)) {
        return Fail(errno == EACCES ? NAVO_ERR_NO_PERMISSION : NAVO_ERR_IO);
    }
    unsigned granted = 0;
    for (const unsigned permission : {NAVO_ACL_READ, NAVO_ACL_WRITE, NAVO_ACL_EXECUTE}) {
        granted |= NAVO::platform::IsGranted(path, permission) ? permission : 0;
    }
    *mask = granted;
    return 0;
}

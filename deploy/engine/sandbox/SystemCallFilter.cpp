// SPDX-License-Identifier: Apache-2.0
#include "sandbox/SystemCallFilter.h"

#include <sys/mman.h>
#include <unistd.h>

#include "Failure.h"
#include "jail/calls.h"

namespace vellumo::engine {

SystemCallFilter::SystemCallFilter() : _file(memfd_create("filter", MFD_CLOEXEC)) {
    if (!_file || calls_export(_file.Get()) != 0 || lseek(_file.Get(), 0, SEEK_SET) != 0) {
        throw Failure(kEngineFailed,
                      "cannot make the filter of system calls; check free memory and libseccomp");
    }
}

}  // namespace vellumo::engine

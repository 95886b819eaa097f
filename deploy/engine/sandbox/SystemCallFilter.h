// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_SYSTEMCALLFILTER_H
#define VELLUMO_ENGINE_SANDBOX_SYSTEMCALLFILTER_H

#include "support/Descriptor.h"

namespace vellumo::engine {

// What the kernel refuses to a converter: calls that none of them needs and through which programs
// have broken out of sandboxes. They fail with EPERM; calls of another architecture end the
// program.
class SystemCallFilter {
public:
    // Throws Failure when there is no memory for it.
    SystemCallFilter();

    // A file that holds the filter as bubblewrap wants it, to be read from where it stands.
    int Get() const { return _file.Get(); }

private:
    support::Descriptor _file;
};

}  // namespace vellumo::engine

#endif

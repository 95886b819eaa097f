// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_SYSTEMCALLFILTER_H
#define VELLUMO_ENGINE_SANDBOX_SYSTEMCALLFILTER_H

#include "support/Descriptor.h"

namespace vellumo::engine {

// The filter of system calls for the tools (jail/calls.h) in a file. A call of another architecture
// ends the program.
class SystemCallFilter {
public:
    // Throws Failure when the filter cannot be made, for example for lack of memory.
    SystemCallFilter();

    // Returns the descriptor of a file that contains the filter in the form that bubblewrap reads,
    // positioned at its beginning. The object owns the descriptor.
    int Get() const { return _file.Get(); }

private:
    support::Descriptor _file;
};

}  // namespace vellumo::engine

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_INTERRUPTS_H
#define VELLUMO_TOOLS_INTERRUPTS_H

#include <csignal>

#include "Descriptor.h"

namespace vellumo::cli {

// For as long as it lives, SIGINT, SIGTERM and SIGHUP end nothing but wait here to be asked for.
// One that the caller of the program had ignored stays ignored, as nohup wants it.
class Interrupts {
public:
    Interrupts();
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    // Readable when one has come; -1 when the system has no descriptor left for it.
    int WaitOn() const { return _descriptor.Get(); }

    // Whether one has come since the last call.
    bool Take();

private:
    sigset_t _before{};
    Descriptor _descriptor;
};

}  // namespace vellumo::cli

#endif

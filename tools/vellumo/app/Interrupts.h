// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_INTERRUPTS_H
#define VELLUMO_TOOLS_INTERRUPTS_H

#include <csignal>

#include "loader/conversion/Watch.h"
#include "support/Descriptor.h"

namespace vellumo::cli {

// For as long as it lives, SIGINT, SIGTERM and SIGHUP end nothing but wait here to be asked for.
// One that the caller of the program had ignored stays ignored, as nohup wants it.
class Interrupts final : public loader::StopRequests {
public:
    Interrupts();
    ~Interrupts() override;
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    int WaitOn() const override { return _descriptor.Get(); }
    bool Take() override;

private:
    sigset_t _before{};
    support::Descriptor _descriptor;
};

}  // namespace vellumo::cli

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_INTERRUPTS_H
#define VELLUMO_TOOLS_INTERRUPTS_H

#include <csignal>

#include "loader/conversion/Watch.h"
#include "support/Descriptor.h"

namespace vellumo::cli {

// While the object lives, SIGINT, SIGTERM and SIGHUP do not end the program; Take() reports them
// instead. A signal that was ignored when the program started stays ignored, as nohup needs it.
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

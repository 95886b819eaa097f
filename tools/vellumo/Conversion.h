// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_CONVERSION_H
#define VELLUMO_TOOLS_CONVERSION_H

#include <optional>

#include "Interrupts.h"
#include "Progress.h"
#include "Worker.h"
#include "vellumo/ContainerPoolManager.h"

namespace vellumo::cli {

// How the watch over one conversion ended.
struct Ending {
    enum class Kind {
        kReported,    // there is a report
        kDied,        // the worker died without one
        kStopped,     // interrupted; the conversion has been given up
        kLeftBehind,  // interrupted; the request waits on, in the background, to be given up
        kAbandoned,   // the same, but the background may end with this program
    };
    Kind kind;
    WorkerReport report;  // for kReported
};

// Watches `worker`, whose job has `priority`, until it has reported or an interrupt comes, and
// shows its progress.
//
// After an interrupt the tool is ended and the worker waited for, which gives the slot back. A
// request that still waits for its slot cannot be taken back: it is left to the background, or,
// where that may end with this program, waited for. A second interrupt ends every waiting.
Ending Watch(Worker& worker, NAVO::VELLUMO::ContainerPoolManager::Priority priority,
             Interrupts& interrupts, Progress& progress);

}  // namespace vellumo::cli

#endif

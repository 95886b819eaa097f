// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_WORK_H
#define VELLUMO_OFFICE_WORK_H

#include "Kit.h"
#include "Room.h"
#include "support/Descriptor.h"

namespace vellumo::office {

// What a child does: waits at `handover` for the connection to a caller, reads the request from it,
// converts the document in the room, sends the open PDF to the caller, and ends. It writes to
// `reports` the line "A" when it has begun, and the line "STATUS REASON" at the end.
[[noreturn]] void Work(const Context& context, const Room& room, support::Descriptor handover,
                       const support::Descriptor& reports);

}  // namespace vellumo::office

#endif

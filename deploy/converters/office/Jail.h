// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_JAIL_H
#define VELLUMO_OFFICE_JAIL_H

#include <string>

#include "Room.h"

namespace vellumo::office {

// Confines the calling process, a new child, to the room for good: it becomes the room's owner, has
// no capabilities, ends with its parent, starts no other process, opens no socket, sends no signal
// to other processes, writes no file of more than `space` bytes, and may use only the listed system
// calls. Where the kernel has Landlock, it can write nowhere but in the room, and it can read only
// the system's programs and `readable`. Throws Failure when one of these steps but Landlock fails.
void EnterJail(const Room& room, const std::string& readable, size_t space);

}  // namespace vellumo::office

#endif

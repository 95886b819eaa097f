// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_SWEEP_H
#define VELLUMO_OFFICE_SWEEP_H

#include <string>

namespace vellumo::office {

// Removes the rooms in the directory `rooms` of tools that were killed with vellumo-tool: those
// that belong to this process's user and that nobody has locked. When no room is in use, it also
// ends what is left of the tools' processes, those of the user in VELLUMO_TOOL_UID, and removes
// what that user has left in shared directories. What cannot be removed stays.
void SweepRooms(const std::string& rooms);

}  // namespace vellumo::office

#endif

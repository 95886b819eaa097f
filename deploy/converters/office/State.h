// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_STATE_H
#define VELLUMO_OFFICE_STATE_H

#include <string>

namespace vellumo::office {

// Keeps the reason why no office can be kept in memory in a file beside the socket, or removes that
// file. False if it was known already.
bool RememberCold(const std::string& socket, const std::string& reason);
void ForgetCold(const std::string& socket);

// Prints what the process at `socket` does, or the reason why there is none. Returns the exit
// status: 0, kPlaceIsGone or kCannotPreload.
int PrintState(const std::string& socket);

}  // namespace vellumo::office

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_PACKETS_H
#define VELLUMO_OFFICE_PACKETS_H

#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::office {

// A packet of a Unix socket with the descriptors that came with it.
struct Packet {
    std::string text;
    std::vector<support::Descriptor> files;
};

// Waits for a packet. Returns an empty one when the other side has closed the connection.
Packet Receive(const support::Descriptor& socket);

// Sends a packet, with the descriptor `file` unless it is -1. Does not wait. False when the other
// side does not take it.
bool Send(const support::Descriptor& socket, const std::string& text, int file = -1);

// Returns the packet that the next Receive() will return, without its descriptors; empty when there
// is none yet.
std::string Peek(const support::Descriptor& socket);

}  // namespace vellumo::office

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_MESSAGE_MAIL_H
#define VELLUMO_WEB_MESSAGE_MAIL_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "support/Descriptor.h"

// Messages over SOCK_SEQPACKET, each with at most one file descriptor attached.
namespace vellumo::web::message {

// The two ends of a connection between processes.
struct Ends {
    support::Descriptor one;
    support::Descriptor other;
};

// Two connected sockets. Both are empty, with errno, on failure.
Ends MakeEnds();

struct Mail {
    std::string bytes;
    support::Descriptor file;  // empty when none is attached
};

enum class Wait { kBlocks, kReturnsAtOnce };

// Sends one message; `file` is -1 or a file descriptor, which stays the caller's. Returns false,
// with errno, on failure: EPIPE when nobody is left to read it, EAGAIN when it would block.
bool Send(const support::Descriptor& socket, std::string_view bytes, int file = -1,
          Wait wait = Wait::kBlocks);

// Receives one message. Returns nothing, with errno, on failure: EAGAIN when there is none yet,
// EPIPE when the other end is closed, EBADMSG for one that is too long or has several files.
std::optional<Mail> Receive(const support::Descriptor& socket, Wait wait = Wait::kBlocks);

// Whether `socket` is a SOCK_SEQPACKET connection whose other end was made by a process of `user`.
bool IsFrom(const support::Descriptor& socket, uid_t user);

}  // namespace vellumo::web::message

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_CONVERTING_H
#define VELLUMO_WEB_WORKER_CONVERTING_H

#include <string>

#include "loader/conversion/Assignment.h"
#include "message/Message.h"
#include "support/Descriptor.h"
#include "worker/Authority.h"

namespace vellumo::web::worker {

// What has to be made for a product, and the stream in which it is kept.
loader::Assignment AssignmentFor(message::Product product);

// Whether the product is ready (200), may be made (202), or will not be (422 with the reason).
message::Answer StateOf(const Authority::Granted& granted, message::Product product,
                        const std::string& address);

// Makes the product unless it is ready, and sends news of it through `connection`. Blocks until it
// is ready or there is a reason why it will not be. Goes on when nobody waits for it any more:
// whoever asks next gets it at once.
message::Answer Convert(Authority::Granted granted, message::Product product,
                        const std::string& address, const support::Descriptor& connection);

}  // namespace vellumo::web::worker

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_WORKER_H
#define VELLUMO_WEB_WORKER_WORKER_H

#include <sys/types.h>

#include <string>

#include "support/Descriptor.h"

namespace vellumo::web::worker {

struct WorkerSettings {
    uid_t front;               // whose questions are answered
    std::string pamDirectory;  // of PAM's configuration; "" for the system's
    bool converts = false;     // else it only looks things up
};

// Gives up the capabilities that the process does not need (Capabilities.h), then answers the
// questions that come through `queue`, one after the other, until nobody is left who
// could ask. Each question comes with the connection for its answer. Returns the exit status of
// the process. Ends it at once when a question leaves it with other ids than it had before.
//
// Several processes read one queue; each message goes to one of them. When one dies, the connection
// of its question closes, which tells the front to ask again later.
int ServeQuestions(const support::Descriptor& queue, const WorkerSettings& settings);

}  // namespace vellumo::web::worker

#endif

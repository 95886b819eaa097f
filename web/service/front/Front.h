// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_FRONT_H
#define VELLUMO_WEB_FRONT_FRONT_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "front/Statistics.h"
#include "support/Descriptor.h"

namespace vellumo::web::front {

struct FrontSettings {
    std::string user;           // that the process becomes
    std::string page;           // directory of the page
    bool isSecure;              // browsers use HTTPS
    bool isForwarded;           // a proxy in front says in X-Forwarded-For who the client is
    size_t converters;          // processes that convert
    std::optional<uid_t> peer;  // the only account that may connect; nothing: all
    const Deaths* deaths;       // for the metrics
};

// What the front gets: its ends of the queues, and the sockets on which it listens.
struct FrontSockets {
    std::vector<support::Descriptor> listening;
    support::Descriptor quick;
    support::Descriptor convert;
    support::Descriptor login;
    support::Descriptor status;     // for metrics and health; empty: nobody may ask
    support::Descriptor accessLog;  // empty: no log
    support::Descriptor control;    // through which a new file of the access log comes
};

// Gives up all rights (Confinement.h) and serves clients, in one thread, until the process is
// killed. Throws std::exception when it cannot begin.
[[noreturn]] void RunFront(const FrontSettings& settings, FrontSockets sockets);

}  // namespace vellumo::web::front

#endif

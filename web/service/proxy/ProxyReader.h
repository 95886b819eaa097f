// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_PROXY_PROXYREADER_H
#define VELLUMO_WEB_PROXY_PROXYREADER_H

#include <sys/types.h>

#include <string>

#include "support/Descriptor.h"

namespace vellumo::web::proxy {

struct ProxySettings {
    std::string user;    // that the process becomes
    std::string page;    // directory of the page, the only one that the process sees
    std::string header;  // in which the proxy names the user
    bool isSecure;       // browsers use HTTPS
    bool isForwarded;    // the proxy says in X-Forwarded-For who the client is
    uid_t peer;          // the account of the proxy: nobody else may connect
};

// Gives up all rights as the front does, and reads the proxy's requests until the process is
// killed: each connection has one, for /login/proxy, and the field `header` names the user who has
// logged in at the proxy. Sends the name through `queue` to the processes that begin sessions. The
// front has neither `queue` nor `listening`, so it can name nobody. Throws std::exception when it
// cannot begin.
[[noreturn]] void RunProxyReader(const ProxySettings& settings, support::Descriptor listening,
                                 support::Descriptor queue);

}  // namespace vellumo::web::proxy

#endif

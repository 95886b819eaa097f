// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_ACCESSLOG_H
#define VELLUMO_WEB_FRONT_ACCESSLOG_H

#include <ctime>
#include <string>

#include "front/Exchange.h"
#include "support/Descriptor.h"

namespace vellumo::web::front {

// One line: time, address, the session's mark (SessionMark.h), method, path, status, bytes,
// seconds. What is unknown is "-". It has no token: a path below "/s/" has "***" in the place of
// the link's token, and queries are left out.
std::string LineFor(const Exchange& exchange, const std::string& cookieName, std::time_t now);

// The access log. Never blocks: a line for which its reader has no room is lost, and counted.
class AccessLog {
public:
    // `file`: where lines go; an empty one for no log. `cookieName`: of the cookie with the token.
    AccessLog(support::Descriptor file, std::string cookieName)
        : _file(std::move(file)), _cookieName(std::move(cookieName)) {}

    void Note(const Exchange& exchange);
    void Replace(support::Descriptor file) { _file = std::move(file); }
    uint64_t CountOfLost() const { return _lost; }

private:
    support::Descriptor _file;
    std::string _cookieName;
    uint64_t _lost = 0;
};

}  // namespace vellumo::web::front

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_MESSAGE_SESSIONMARK_H
#define VELLUMO_WEB_MESSAGE_SESSIONMARK_H

#include <string>

namespace vellumo::web::message {

// What logs call the session of this token: the beginning of its hash, from which nobody finds the
// token. "-" for no token. So the access log, whose writer knows no users, and the system log,
// which says who began the session, can be read together.
std::string SessionMark(const std::string& token);

}  // namespace vellumo::web::message

#endif

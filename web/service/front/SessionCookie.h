// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_SESSIONCOOKIE_H
#define VELLUMO_WEB_FRONT_SESSIONCOOKIE_H

#include <string>

namespace vellumo::web::front {

// The name of the cookie with the token of a session. `isSecure`: browsers use HTTPS.
const char* SessionCookieName(bool isSecure);

// The value of Set-Cookie that gives a browser the token; "" takes it away.
std::string SessionCookie(bool isSecure, const std::string& token);

}  // namespace vellumo::web::front

#endif

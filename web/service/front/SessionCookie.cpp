// SPDX-License-Identifier: Apache-2.0
#include "front/SessionCookie.h"

namespace vellumo::web::front {

const char* SessionCookieName(bool isSecure) {
    return isSecure ? "__Host-vellumo" : "vellumo";
}

std::string SessionCookie(bool isSecure, const std::string& token) {
    return std::string(SessionCookieName(isSecure)) + '=' + token +
           "; Path=/; HttpOnly; SameSite=Lax" + (isSecure ? "; Secure" : "") +
           (token.empty() ? "; Max-Age=0" : "");
}

}  // namespace vellumo::web::front

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_LOGIN_ACCOUNTCHECK_H
#define VELLUMO_WEB_LOGIN_ACCOUNTCHECK_H

#include <sys/types.h>

#include <string>

namespace vellumo::web::login {

// Whether the account `user` is still the one with this id.
bool IsSameAccount(const std::string& user, uid_t userId);

// The same, and PAM finds the account in order. Asks PAM in a child process: what its modules leave
// in a process stays there. Throws Refused (503) when PAM cannot tell.
bool IsAccountInOrder(const std::string& user, uid_t userId, const std::string& pamDirectory);

}  // namespace vellumo::web::login

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_LOGIN_LOGINHELPER_H
#define VELLUMO_WEB_LOGIN_LOGINHELPER_H

#include <sys/types.h>

#include <string>

#include "message/Message.h"
#include "support/Descriptor.h"

namespace vellumo::web::login {

struct LoginSettings {
    uid_t front;                                 // whose questions are answered
    std::string pamDirectory;                    // "" for the system's
    message::Kind kind = message::Kind::kLogin;  // of the questions of the queue; or kProxyLogin
};

// Waits for one login, answers it and returns the exit status of the process: what a module of PAM
// leaves in a process never reaches the next login.
int ServeOneLogin(const support::Descriptor& queue, const LoginSettings& settings);

// Tries the credentials of `question`, and begins a session if they are right. Ends the session of
// its token: a token that somebody knew before the login is worth nothing after it. A question of
// the kind kProxyLogin has no password: its user must be an account that is no system account and
// that PAM finds in order.
message::Answer TryLogin(const message::Question& question, const LoginSettings& settings,
                         int64_t now);

}  // namespace vellumo::web::login

#endif

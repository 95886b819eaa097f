// SPDX-License-Identifier: Apache-2.0
#include "login/AccountCheck.h"

#include <sys/wait.h>
#include <unistd.h>

#include "login/Pam.h"
#include "message/Refused.h"
#include "support/ChildProcess.h"

namespace vellumo::web::login {
namespace {

Verdict LookInChild(const std::string& user, const std::string& directory) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(static_cast<int>(LookAt(user, directory)));
    }
    int status = 0;
    if (child < 0 || !support::WaitForEnd(child, status) || !WIFEXITED(status)) {
        return Verdict::kUnavailable;
    }
    return static_cast<Verdict>(WEXITSTATUS(status));
}

}  // namespace

bool IsSameAccount(const std::string& user, uid_t userId) {
    const auto account = FindAccount(user);
    return account && account->id == userId;
}

bool IsAccountInOrder(const std::string& user, uid_t userId, const std::string& pamDirectory) {
    if (!IsSameAccount(user, userId)) {
        return false;
    }
    const Verdict verdict = LookInChild(user, pamDirectory);
    if (verdict == Verdict::kUnavailable) {
        throw message::Refused({.status = 503, .code = "login-unavailable"});
    }
    return verdict == Verdict::kAccepted;
}

}  // namespace vellumo::web::login

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_LOGIN_PAM_H
#define VELLUMO_WEB_LOGIN_PAM_H

#include <sys/types.h>

#include <optional>
#include <string>

// The system's accounts, as PAM knows them: the service vellumo-web. Modules may do anything to the
// process, so each call belongs into a process that ends soon.
namespace vellumo::web::login {

enum class Verdict { kAccepted, kRefused, kUnavailable };

// An account that may use the service: known, not root.
struct Account {
    std::string name;
    uid_t id;
};

// The account called `name`; nothing for one that is unknown, and for root, whose rights would let
// a guessed password read everything.
std::optional<Account> FindAccount(const std::string& name);

// Whether an account with this id is a person's, as the machine divides the ids
// (/etc/login.defs): not a system account, and not nobody.
bool IsOfPerson(uid_t id);

struct Credentials {
    std::string user;
    std::string password;
    std::string address;  // "" when unknown
};

// Whether the password is right and the account in order. Blocks as long as the modules do; a wrong
// password costs about two seconds. `directory`: of PAM's configuration; "" for the system's.
Verdict LogIn(const Credentials& credentials, const std::string& directory);

// Whether the account is still in order: not expired, not locked by a module.
Verdict LookAt(const std::string& user, const std::string& directory);

}  // namespace vellumo::web::login

#endif

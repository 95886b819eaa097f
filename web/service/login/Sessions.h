// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_LOGIN_SESSIONS_H
#define VELLUMO_WEB_LOGIN_SESSIONS_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "loader/daemon/WebClient.h"
#include "login/Database.h"

namespace vellumo::web::login {

struct Session {
    std::string user;
    uid_t userId;
    bool mustLookAgain;  // the account was looked at too long ago
};

// Who is logged in. A session has a token of 256 random bits, of which only the SHA-256 is kept:
// whoever reads the database cannot take a session over. Times are seconds since 1970.
class Sessions {
public:
    static constexpr std::chrono::minutes kIdle = loader::kWebSessionIdle;
    static constexpr std::chrono::hours kMost = loader::kWebSessionMost;
    static constexpr std::chrono::minutes kLookAgain{5};

    explicit Sessions(const Database& database) : _database(database) {}

    // Begins a session and returns its token, 64 hexadecimal digits. Forgets those that are over.
    std::string Begin(const std::string& user, uid_t userId, int64_t now) const;

    // How many sessions of the user have begun since `time` and are not over.
    int64_t CountBegun(const std::string& user, int64_t time) const;

    // The session with the token; nothing when there is none or it is over. It is in use now.
    std::optional<Session> Find(const std::string& token, int64_t now) const;

    // The account of the session has been looked at.
    void NoteLook(const std::string& token, int64_t now) const;

    void End(const std::string& token) const;
    void EndAllOf(const std::string& user) const;

private:
    const Database& _database;
};

// How failures are counted under one name: the first `free` ones cost nothing, then each doubles
// the delay.
struct Counting {
    std::string who;
    int64_t free;
    int64_t most;      // seconds
    bool isForgotten;  // by a success
};

// How long somebody has to wait before the next try of a password. Each failure counts under
// several names: one guesses many passwords of one account, or one password of many accounts.
class Throttle {
public:
    // Of a login. `address` "": unknown, and not counted.
    static std::vector<Counting> OfLogin(const std::string& user, const std::string& address);

    // Of a name that a proxy gives. Counted for itself: who guesses passwords does not lock those
    // out who have logged in at the proxy.
    static std::vector<Counting> OfProxyLogin(const std::string& user);

    // Of the password of a sharing link.
    static std::vector<Counting> OfLink(int64_t link, const std::string& address);

    explicit Throttle(const Database& database) : _database(database) {}

    // Seconds; 0: now.
    int64_t Delay(const std::vector<Counting>& countings, int64_t now) const;
    void NoteFailure(const std::vector<Counting>& countings, int64_t now) const;

    // A try that was counted as a failure has succeeded. Where failures are not forgotten, this one
    // was none: a guesser may know one password too.
    void NoteSuccess(const std::vector<Counting>& countings) const;

private:
    const Database& _database;
};

}  // namespace vellumo::web::login

#endif

// SPDX-License-Identifier: Apache-2.0
#include "login/Sessions.h"

#include <algorithm>

#include "loader/links/LinkToken.h"

namespace vellumo::web::login {
namespace {

// A session that is used all the time is written once in a minute.
constexpr int64_t kWriteAfter = 60;

int64_t Seconds(std::chrono::seconds time) {
    return time.count();
}

constexpr int64_t kForgetAfter = 3600;

Counting OfAddress(const std::string& address) {
    return {"address " + address, 10, 900, false};
}

int64_t DelayOf(const Database& database, const Counting& counting, int64_t now) {
    auto row = database.Prepare("SELECT failures, last FROM tries WHERE who = ? AND last > ?");
    if (!row.Bind(counting.who).Bind(now - kForgetAfter).Next()) {
        return 0;
    }
    const int64_t over = row.Number(0) - counting.free;
    if (over < 0) {
        return 0;
    }
    constexpr int64_t kLongestDoubling = 20;
    const int64_t delay = std::min(counting.most, int64_t{1} << std::min(over, kLongestDoubling));
    return std::max<int64_t>(0, row.Number(1) + delay - now);
}

void Count(const Database& database, const Counting& counting, int64_t now) {
    database.Prepare("DELETE FROM tries WHERE last <= ?").Bind(now - kForgetAfter).Next();
    database
        .Prepare(
            "INSERT INTO tries VALUES (?, 1, ?)"
            " ON CONFLICT (who) DO UPDATE SET failures = failures + 1, last = excluded.last")
        .Bind(counting.who)
        .Bind(now)
        .Next();
}

}  // namespace

std::string Sessions::Begin(const std::string& user, uid_t userId, int64_t now) const {
    _database.Prepare("DELETE FROM sessions WHERE used < ? OR begun < ?")
        .Bind(now - Seconds(kIdle))
        .Bind(now - Seconds(kMost))
        .Next();
    std::string token = loader::NewSessionToken();
    _database.Prepare("INSERT INTO sessions VALUES (?, ?, ?, ?, ?, ?)")
        .BindBytes(loader::HashOfToken(token))
        .Bind(user)
        .Bind(int64_t{userId})
        .Bind(now)
        .Bind(now)
        .Bind(now)
        .Next();
    return token;
}

int64_t Sessions::CountBegun(const std::string& user, int64_t time) const {
    auto row = _database.Prepare("SELECT count(*) FROM sessions WHERE user = ? AND begun > ?");
    row.Bind(user).Bind(time).Next();
    return row.Number(0);
}

std::optional<Session> Sessions::Find(const std::string& token, int64_t now) const {
    const std::string hash = loader::HashOfToken(token);
    std::optional<Session> session;
    int64_t used = 0;
    {
        auto row = _database.Prepare(
            "SELECT user, user_id, used, checked FROM sessions"
            " WHERE hash = ? AND used >= ? AND begun >= ?");
        row.BindBytes(hash).Bind(now - Seconds(kIdle)).Bind(now - Seconds(kMost));
        if (!row.Next()) {
            return std::nullopt;
        }
        session = Session{row.Text(0), static_cast<uid_t>(row.Number(1)),
                          row.Number(3) + Seconds(kLookAgain) <= now};
        used = row.Number(2);
        // Ends the statement: with it, SQLite would keep its view of the table, and refuse the
        // write below at once when another process has written meanwhile.
    }
    if (used + kWriteAfter <= now) {
        _database.Prepare("UPDATE sessions SET used = ? WHERE hash = ?")
            .Bind(now)
            .BindBytes(hash)
            .Next();
    }
    return session;
}

void Sessions::NoteLook(const std::string& token, int64_t now) const {
    _database.Prepare("UPDATE sessions SET checked = ? WHERE hash = ?")
        .Bind(now)
        .BindBytes(loader::HashOfToken(token))
        .Next();
}

void Sessions::End(const std::string& token) const {
    _database.Prepare("DELETE FROM sessions WHERE hash = ?")
        .BindBytes(loader::HashOfToken(token))
        .Next();
}

void Sessions::EndAllOf(const std::string& user) const {
    _database.Prepare("DELETE FROM sessions WHERE user = ?").Bind(user).Next();
}

// A stranger must not lock the owner of an account out for long.
std::vector<Counting> Throttle::OfLogin(const std::string& user, const std::string& address) {
    std::vector<Counting> countings{{"user " + user, 3, 60, true}};
    if (!address.empty()) {
        countings.push_back(OfAddress(address));
    }
    return countings;
}

std::vector<Counting> Throttle::OfProxyLogin(const std::string& user) {
    return {{"proxy " + user, 3, 60, true}};
}

// A visitor who guesses must not lock the others out, but many guessers together are slow too.
std::vector<Counting> Throttle::OfLink(int64_t link, const std::string& address) {
    const std::string who = "link " + std::to_string(link);
    std::vector<Counting> countings{{who + ' ' + address, 5, 900, true}, {who, 50, 60, false}};
    if (!address.empty()) {
        countings.push_back(OfAddress(address));
    }
    return countings;
}

int64_t Throttle::Delay(const std::vector<Counting>& countings, int64_t now) const {
    int64_t delay = 0;
    for (const Counting& counting : countings) {
        delay = std::max(delay, DelayOf(_database, counting, now));
    }
    return delay;
}

void Throttle::NoteFailure(const std::vector<Counting>& countings, int64_t now) const {
    for (const Counting& counting : countings) {
        Count(_database, counting, now);
    }
}

void Throttle::NoteSuccess(const std::vector<Counting>& countings) const {
    for (const Counting& counting : countings) {
        _database
            .Prepare(counting.isForgotten
                         ? "DELETE FROM tries WHERE who = ?"
                         : "UPDATE tries SET failures = failures - 1 WHERE who = ?")
            .Bind(counting.who)
            .Next();
    }
}

}  // namespace vellumo::web::login

// SPDX-License-Identifier: Apache-2.0
#include "loader/links/Visits.h"

namespace vellumo::loader {
namespace {

int64_t Seconds(std::chrono::seconds time) {
    return time.count();
}

}  // namespace

bool IsNew(int64_t last, int64_t now, Manner manner) {
    const bool isLongAgo = manner == Manner::kAsked && last <= now - Seconds(Visits::kSameOpening);
    return last == 0 || isLongAgo;
}

std::string Visits::Begin(const Link& link, bool isUnlocked, int64_t now) const {
    ForgetOld(link.id, now);
    std::string token = NewSessionToken();
    _database
        .Prepare(
            "INSERT INTO visits SELECT ?, id, ?, ?, 0 FROM links"
            " WHERE id = ? AND password = ? AND is_revoked = 0")
        .BindBytes(HashOfToken(token))
        .Bind(now)
        .Bind(int64_t{isUnlocked})
        .Bind(link.id)
        .Bind(link.passwordHash)
        .Next();
    return token;
}

void Visits::ForgetOld(int64_t link, int64_t now) const {
    _database.Prepare("DELETE FROM visits WHERE begun < ?").Bind(now - Seconds(kMost)).Next();
    _database
        .Prepare(
            "DELETE FROM visits WHERE link = ?1 AND is_unlocked = 0 AND begun < (SELECT begun"
            " FROM visits WHERE link = ?1 AND is_unlocked = 0 ORDER BY begun DESC"
            " LIMIT 1 OFFSET ?2)")
        .Bind(link)
        .Bind(kMostLocked)
        .Next();
}

std::optional<Visit> Visits::Find(int64_t link, const std::string& token, int64_t now) const {
    const std::string hash = HashOfToken(token);
    auto row = _database.Prepare(
        "SELECT is_unlocked, counted FROM visits WHERE hash = ? AND link = ? AND begun >= ?");
    row.BindBytes(hash).Bind(link).Bind(now - Seconds(kMost));
    return row.Next() ? std::optional(Visit{hash, row.Number(0) != 0, row.Number(1)})
                      : std::nullopt;
}

int64_t Visits::LastOpening(const Visit& visit, const std::string& path) const {
    auto row = _database.Prepare("SELECT max(time) FROM openings WHERE visit = ? AND path = ?");
    return row.BindBytes(visit.hash).Bind(path).Next() ? row.Number(0) : 0;
}

// What the visit knows of itself may be old by now: other processes count too.
bool Visits::CountView(int64_t link, const Visit& visit, int64_t now, Manner manner) const {
    auto row = _database.Prepare("SELECT counted FROM visits WHERE hash = ?");
    if (!row.BindBytes(visit.hash).Next()) {
        return false;  // the link was revoked, or got another password, a moment ago
    }
    if (!IsNew(row.Number(0), now, manner)) {
        return true;
    }
    _database
        .Prepare(
            "UPDATE links SET views = views + 1"
            " WHERE id = ? AND is_revoked = 0 AND (most_views = 0 OR views < most_views)")
        .Bind(link)
        .Next();
    if (_database.Changes() == 0) {
        return false;
    }
    _database.Prepare("UPDATE visits SET counted = ? WHERE hash = ?")
        .Bind(now)
        .BindBytes(visit.hash)
        .Next();
    return true;
}

// A visitor who sends no cookie makes a new visit with each request, so the number has a limit.
void Visits::Remember(int64_t link, const Visit& visit, const Opening& opening) const {
    _database
        .Prepare(
            "INSERT INTO openings (link, visit, path, address, time)"
            " VALUES (?, ?, ?, ?, ?)")
        .Bind(link)
        .BindBytes(visit.hash)
        .Bind(opening.path)
        .Bind(opening.address)
        .Bind(opening.time)
        .Next();
    _database
        .Prepare(
            "DELETE FROM openings WHERE link = ?1 AND id <= (SELECT id FROM openings"
            " WHERE link = ?1 ORDER BY id DESC LIMIT 1 OFFSET ?2)")
        .Bind(link)
        .Bind(kMostOpenings)
        .Next();
}

bool Visits::NoteOpening(const Link& link, const Visit& visit, const Opening& opening,
                         Manner manner) const {
    if (manner == Manner::kFetched && visit.counted != 0 && LastOpening(visit, opening.path) != 0) {
        return true;  // the usual case of each part of a PDF: nothing is written
    }
    Database::Transaction transaction(_database);
    if (!CountView(link.id, visit, opening.time, manner)) {
        return false;
    }
    if (IsNew(LastOpening(visit, opening.path), opening.time, manner)) {
        Remember(link.id, visit, opening);
    }
    transaction.Commit();
    return true;
}

std::vector<Opening> Visits::OpeningsOf(int64_t link, int64_t limit) const {
    auto rows = _database.Prepare(
        "SELECT time, address, path FROM openings WHERE link = ? ORDER BY id DESC LIMIT ?");
    rows.Bind(link).Bind(limit);
    std::vector<Opening> openings;
    while (rows.Next()) {
        openings.push_back({rows.Number(0), rows.Text(1), rows.Text(2)});
    }
    return openings;
}

}  // namespace vellumo::loader

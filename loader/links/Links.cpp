// SPDX-License-Identifier: Apache-2.0
#include "loader/links/Links.h"

namespace vellumo::loader {
namespace {

// AUTOINCREMENT: the number of a removed link is never that of another one.
constexpr const char* kTables =
    "CREATE TABLE IF NOT EXISTS links (id INTEGER PRIMARY KEY AUTOINCREMENT,"
    " hash BLOB NOT NULL UNIQUE, sealed BLOB NOT NULL, owner TEXT NOT NULL,"
    " owner_id INTEGER NOT NULL, path TEXT NOT NULL, is_folder INTEGER NOT NULL,"
    " label TEXT NOT NULL, password TEXT NOT NULL, expires INTEGER NOT NULL,"
    " most_views INTEGER NOT NULL, views INTEGER NOT NULL, may_download INTEGER NOT NULL,"
    " is_revoked INTEGER NOT NULL, made INTEGER NOT NULL, owner_looked INTEGER NOT NULL,"
    " owner_in_order INTEGER NOT NULL);"
    "CREATE INDEX IF NOT EXISTS links_owner ON links(owner, owner_id);"
    "CREATE TABLE IF NOT EXISTS visits (hash BLOB PRIMARY KEY, link INTEGER NOT NULL,"
    " begun INTEGER NOT NULL, is_unlocked INTEGER NOT NULL, counted INTEGER NOT NULL)"
    " WITHOUT ROWID;"
    "CREATE INDEX IF NOT EXISTS visits_link_begun ON visits(link, is_unlocked, begun);"
    "CREATE INDEX IF NOT EXISTS visits_begun ON visits(begun);"
    "CREATE TABLE IF NOT EXISTS openings (id INTEGER PRIMARY KEY, link INTEGER NOT NULL,"
    " visit BLOB NOT NULL, path TEXT NOT NULL, address TEXT NOT NULL, time INTEGER NOT NULL);"
    "CREATE INDEX IF NOT EXISTS openings_link ON openings(link, id);"
    "CREATE INDEX IF NOT EXISTS openings_visit ON openings(visit, path);";

// The links for which the rest of the statement asks.
Database::Statement Select(const Database& database, const std::string& rest) {
    const std::string text =
        "SELECT id, sealed, owner, owner_id, path, is_folder, label, password, expires, most_views,"
        " views, may_download, is_revoked, made, owner_looked, owner_in_order FROM links " +
        rest;
    return database.Prepare(text.c_str());
}

Link LinkIn(const Database::Statement& row) {
    int column = 0;
    Link link;
    link.id = row.Number(column++);
    link.sealedToken = row.Bytes(column++);
    link.owner = row.Text(column++);
    link.ownerId = static_cast<uid_t>(row.Number(column++));
    link.path = row.Text(column++);
    link.isFolder = row.Number(column++) != 0;
    link.label = row.Text(column++);
    link.passwordHash = row.Text(column++);
    link.expires = row.Number(column++);
    link.mostViews = row.Number(column++);
    link.views = row.Number(column++);
    link.mayDownload = row.Number(column++) != 0;
    link.isRevoked = row.Number(column++) != 0;
    link.made = row.Number(column++);
    link.ownerLooked = row.Number(column++);
    link.ownerIsInOrder = row.Number(column++) != 0;
    return link;
}

std::vector<Link> LinksIn(Database::Statement& rows) {
    std::vector<Link> links;
    while (rows.Next()) {
        links.push_back(LinkIn(rows));
    }
    return links;
}

std::optional<Link> FirstIn(Database::Statement& rows) {
    return rows.Next() ? std::optional(LinkIn(rows)) : std::nullopt;
}

std::string HashIfAny(const std::string& password) {
    return password.empty() ? "" : HashOfPassword(password);
}

template <typename Value>
void Set(const Database& database, const char* statement, const Value& value, int64_t id) {
    database.Prepare(statement).Bind(value).Bind(id).Next();
}

void EndVisits(const Database& database, int64_t id) {
    database.Prepare("DELETE FROM visits WHERE link = ?").Bind(id).Next();
}

}  // namespace

LinkDatabase::LinkDatabase(const std::string& file) : Database(file, kTables) {}

const char* NameOf(LinkState state) {
    switch (state) {
        case LinkState::kRevoked:
            return "revoked";
        case LinkState::kExpired:
            return "expired";
        case LinkState::kUsedUp:
            return "used-up";
        default:
            return "open";
    }
}

LinkState StateOf(const Link& link, int64_t now) {
    if (link.isRevoked) {
        return LinkState::kRevoked;
    }
    if (link.expires != 0 && link.expires <= now) {
        return LinkState::kExpired;
    }
    const bool isUsedUp = link.mostViews != 0 && link.views >= link.mostViews;
    return isUsedUp ? LinkState::kUsedUp : LinkState::kOpen;
}

std::string Links::Add(Link& link, const LinkChange& terms, int64_t now) const {
    std::string token = NewLinkToken();
    _database
        .Prepare(
            "INSERT INTO links (hash, sealed, owner, owner_id, path, is_folder, label, password,"
            " expires, most_views, views, may_download, is_revoked, made, owner_looked,"
            " owner_in_order) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, 0, ?, 0, ?, 0, 1)")
        .BindBytes(HashOfToken(token))
        .BindBytes(_key.Seal(token))
        .Bind(link.owner)
        .Bind(int64_t{link.ownerId})
        .Bind(link.path)
        .Bind(int64_t{link.isFolder})
        .Bind(terms.label.value_or(""))
        .Bind(HashIfAny(terms.password.value_or("")))
        .Bind(terms.expires.value_or(0))
        .Bind(terms.mostViews.value_or(0))
        .Bind(int64_t{terms.mayDownload.value_or(true)})
        .Bind(now)
        .Next();
    link.id = _database.LastRow();
    return token;
}

std::optional<Link> Links::Find(const std::string& token) const {
    auto row = Select(_database, "WHERE hash = ?");
    row.BindBytes(HashOfToken(token));
    return FirstIn(row);
}

std::optional<Link> Links::Find(int64_t id) const {
    auto row = Select(_database, "WHERE id = ?");
    row.Bind(id);
    return FirstIn(row);
}

std::vector<Link> Links::List() const {
    auto rows = Select(_database, "ORDER BY id DESC");
    return LinksIn(rows);
}

std::vector<Link> Links::ListOf(const std::string& owner, uid_t ownerId) const {
    auto rows = Select(_database, "WHERE owner = ? AND owner_id = ? ORDER BY id DESC");
    rows.Bind(owner).Bind(int64_t{ownerId});
    return LinksIn(rows);
}

bool Links::Change(int64_t id, const LinkChange& change) const {
    // Before the transaction: others would wait for the hash.
    const std::string hash = HashIfAny(change.password.value_or(""));
    Database::Transaction transaction(_database);
    if (!Find(id)) {
        return false;
    }
    if (change.label) {
        Set(_database, "UPDATE links SET label = ? WHERE id = ?", *change.label, id);
    }
    if (change.password) {
        Set(_database, "UPDATE links SET password = ? WHERE id = ?", hash, id);
        EndVisits(_database, id);
    }
    if (change.expires) {
        Set(_database, "UPDATE links SET expires = ? WHERE id = ?", *change.expires, id);
    }
    if (change.mostViews) {
        Set(_database, "UPDATE links SET most_views = ? WHERE id = ?", *change.mostViews, id);
    }
    if (change.mayDownload) {
        Set(_database, "UPDATE links SET may_download = ? WHERE id = ?",
            int64_t{*change.mayDownload}, id);
    }
    if (change.isRevoked) {
        Set(_database, "UPDATE links SET is_revoked = ? WHERE id = ?", int64_t{*change.isRevoked},
            id);
        EndVisits(_database, id);
    }
    transaction.Commit();
    return true;
}

bool Links::Remove(int64_t id) const {
    Database::Transaction transaction(_database);
    EndVisits(_database, id);
    _database.Prepare("DELETE FROM openings WHERE link = ?").Bind(id).Next();
    _database.Prepare("DELETE FROM links WHERE id = ?").Bind(id).Next();
    const bool isRemoved = _database.Changes() != 0;
    transaction.Commit();
    return isRemoved;
}

void Links::NoteLookAtOwner(int64_t id, bool isInOrder, int64_t now) const {
    _database.Prepare("UPDATE links SET owner_looked = ?, owner_in_order = ? WHERE id = ?")
        .Bind(now)
        .Bind(int64_t{isInOrder})
        .Bind(id)
        .Next();
}

}  // namespace vellumo::loader

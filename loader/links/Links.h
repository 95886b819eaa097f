// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_LINKS_H
#define VELLUMO_LOADER_LINKS_H

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "loader/Database.h"
#include "loader/links/LinkToken.h"

namespace vellumo::loader {

// The SQLite file of the sharing links and of who opened them.
class LinkDatabase : public Database {
public:
    static constexpr const char* kFile = "/var/packages/Vellumo/etc/links.db";
    explicit LinkDatabase(const std::string& file = kFile);
};

// A sharing link. It follows the path: whatever file or folder has it is shared, with the rights
// that the owner has at that moment. Times are seconds since 1970; 0 means none.
struct Link {
    int64_t id = 0;
    std::string owner{};
    uid_t ownerId = 0;   // an account that gets the name of a removed one does not get its links
    std::string path{};  // share path
    bool isFolder = false;
    std::string label{};
    std::string passwordHash{};  // "" for a link without a password
    int64_t expires = 0;
    int64_t mostViews = 0;  // 0: any number
    int64_t views = 0;
    bool mayDownload = true;  // the original; what is shown can always be kept
    bool isRevoked = false;
    int64_t made = 0;
    std::string sealedToken{};
    int64_t ownerLooked = 0;  // when the owner's account was last looked at
    bool ownerIsInOrder = true;
};

enum class LinkState { kOpen, kRevoked, kExpired, kUsedUp };

// "open", "revoked", "expired", "used-up"
const char* NameOf(LinkState state);
LinkState StateOf(const Link& link, int64_t now);

// What can be changed of a link; members without a value stay as they are.
struct LinkChange {
    std::optional<std::string> label{};
    std::optional<std::string> password{};  // "" for none
    std::optional<int64_t> expires{};
    std::optional<int64_t> mostViews{};
    std::optional<bool> mayDownload{};
    std::optional<bool> isRevoked{};
};

inline constexpr size_t kLongestLabel = 200;
inline constexpr size_t kLongestPassword = 256;

// The stored links. Only what is asked for is checked here: whether somebody may share a path is
// the caller's question. Functions throw DatabaseError.
class Links {
public:
    Links(const LinkDatabase& database, const LinkKey& key) : _database(database), _key(key) {}

    // Stores a link and returns its token. Of `link`: owner, ownerId, path, isFolder; sets its id.
    std::string Add(Link& link, const LinkChange& terms, int64_t now) const;

    std::optional<Link> Find(const std::string& token) const;
    std::optional<Link> Find(int64_t id) const;

    // All links, or those of one account; the latest first.
    std::vector<Link> List() const;
    std::vector<Link> ListOf(const std::string& owner, uid_t ownerId) const;

    // A new password, and a link that is revoked, end the visits that there are. Returns false when
    // there is no such link.
    bool Change(int64_t id, const LinkChange& change) const;

    // Removes the link and all that is known of its visits.
    bool Remove(int64_t id) const;

    void NoteLookAtOwner(int64_t id, bool isInOrder, int64_t now) const;

    // "" when it was sealed with another key.
    std::string TokenOf(const Link& link) const { return _key.Open(link.sealedToken); }

private:
    const LinkDatabase& _database;
    const LinkKey& _key;
};

}  // namespace vellumo::loader

#endif

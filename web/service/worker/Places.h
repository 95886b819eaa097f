// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_PLACES_H
#define VELLUMO_WEB_WORKER_PLACES_H

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "login/Database.h"

namespace vellumo::web::worker {

// A document that a user reads. The id is there too: an account that gets the name of a removed one
// does not get its places.
struct ReadDocument {
    std::string user{};
    uid_t userId = 0;
    std::string sharePath{};
};

// The page of each document that each user has seen last. Who may read the document is not asked
// here. Functions throw DatabaseError.
class Places {
public:
    // Of each user; the oldest ones are forgotten.
    static constexpr int64_t kMostOfUser = 2000;

    explicit Places(const login::Database& database) : _database(database) {}

    void Note(const ReadDocument& document, uint32_t page, int64_t now) const;

    // Nothing when no page is known.
    std::optional<uint32_t> PageAt(const ReadDocument& document) const;

private:
    const login::Database& _database;
};

}  // namespace vellumo::web::worker

#endif

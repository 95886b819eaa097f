// SPDX-License-Identifier: Apache-2.0
#include "worker/Places.h"

namespace vellumo::web::worker {

void Places::Note(const ReadDocument& document, uint32_t page, int64_t now) const {
    loader::Database::Transaction transaction(_database);
    _database.Prepare("INSERT OR REPLACE INTO places VALUES (?, ?, ?, ?, ?)")
        .Bind(document.user)
        .Bind(int64_t{document.userId})
        .Bind(document.sharePath)
        .Bind(int64_t{page})
        .Bind(now)
        .Next();
    _database
        .Prepare(
            "DELETE FROM places WHERE user = ?1 AND user_id = ?2 AND path IN"
            " (SELECT path FROM places WHERE user = ?1 AND user_id = ?2"
            " ORDER BY time DESC, path = ?3 DESC LIMIT -1 OFFSET ?4)")
        .Bind(document.user)
        .Bind(int64_t{document.userId})
        .Bind(document.sharePath)
        .Bind(kMostOfUser)
        .Next();
    transaction.Commit();
}

std::optional<uint32_t> Places::PageAt(const ReadDocument& document) const {
    auto row =
        _database.Prepare("SELECT page FROM places WHERE user = ? AND user_id = ? AND path = ?");
    row.Bind(document.user).Bind(int64_t{document.userId}).Bind(document.sharePath);
    return row.Next() ? std::optional(static_cast<uint32_t>(row.Number(0))) : std::nullopt;
}

}  // namespace vellumo::web::worker

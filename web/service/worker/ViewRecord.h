// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_VIEWRECORD_H
#define VELLUMO_WEB_WORKER_VIEWRECORD_H

#include <cstdint>
#include <string>

#include "loader/documents/Place.h"
#include "loader/links/Visits.h"
#include "login/Database.h"

namespace vellumo::web::worker {

// Somebody opens a document.
struct View {
    std::string who{};        // the hash of the session's or the visit's token
    std::string sharePath{};  // under which the view is logged
    std::string user{};       // who is logged in; of a visitor, the owner of the link
    bool isVisitor = false;
    std::string address{};
};

// Which views are in the view log. Functions throw DatabaseError.
class ViewRecord {
public:
    explicit ViewRecord(const login::Database& database) : _database(database) {}

    // Writes the view to the library's view log, unless this is the same opening as before.
    //
    // The entry is written first and remembered then, in one transaction, during which no other
    // process writes one. A process that is killed in between leaves an entry of which nothing is
    // remembered, and the next opening writes it again: a view may be logged twice, but never not
    // at all. An entry that cannot be written is not remembered either; the library reports that in
    // the system log, and the document is shown.
    void Note(const View& view, const loader::OpenedPlace& file, int64_t now,
              loader::Manner manner) const;

private:
    int64_t Last(const View& view) const;

    const login::Database& _database;
};

}  // namespace vellumo::web::worker

#endif

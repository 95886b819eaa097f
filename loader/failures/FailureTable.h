// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_FAILURETABLE_H
#define VELLUMO_LOADER_FAILURETABLE_H

#include <cstdint>
#include <string>
#include <vector>

#include "loader/failures/DocumentIdentity.h"
#include "vellumo/BaseDB.h"

namespace vellumo::loader {

// What is remembered of the failed attempts to make one product of one document.
struct RememberedFailure {
    std::string product;  // "pdf" or "thumbnail"
    std::string path;     // the document's real path at the last failure
    DocumentIdentity document;
    std::string reason;  // NameOf the last failure's reason
    std::string why;     // its Problem::why
    std::string said;    // the tool's last lines, separated by newlines
    std::string tools;   // fingerprint of the tools that failed; "": unknown
    int attempts = 0;
    int deaths = 0;     // of worker processes
    int64_t first = 0;  // time of the first failure, seconds since the epoch
    int64_t last = 0;   // of the last one
    int64_t next = 0;   // of the next attempt; 0: none by itself
};

// The table of remembered failures in an SQLite file. A missing file counts as empty; only kChange
// creates it, with the mode 0600. Every operation, the constructor included, throws Failure when
// the file cannot be used; one that waits for another process's lock gives up after a second.
//
// The object holds a connection to the database, which must not cross a fork.
class FailureTable {
public:
    enum class Purpose { kRead, kChange };
    // How many rows stay at most. Beyond it, the rows that failed longest ago make room.
    static constexpr int64_t kMaxRows = 50'000;

    // `what`: the failure's Problem::what.
    FailureTable(const std::string& file, Purpose purpose, std::string what);

    // A change of the table by several operations: all of them take effect, or none.
    class Change {
    public:
        explicit Change(FailureTable& table);
        ~Change();
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;
        void Commit();

    private:
        FailureTable& _table;
        bool _committed = false;
    };

    // The rows of the documents at and below `realPath`, the latest failure first; with "", all.
    // At most `limit` rows; 0: all.
    std::vector<RememberedFailure> List(const std::string& realPath, int64_t limit = 0);

    // The rows whose next attempt was to be at `now` or before it, the latest one of them first; at
    // most `limit` rows.
    std::vector<RememberedFailure> Due(int64_t now, int64_t limit);

    // The rows of this version of the document, under whatever path it had then. A document whose
    // birth is unknown is found only by its path.
    std::vector<RememberedFailure> Of(const std::string& realPath,
                                      const DocumentIdentity& document);

    // The documents at and below `from` are called `to` now, or below it.
    void Rename(const std::string& from, const std::string& to);

    // Adds a row in place of all rows of its product and path, or product and document.
    void Put(const RememberedFailure& failure);

    // Rows of the document are not tried again by themselves.
    void PutAside(const RememberedFailure& failure);

    // Removes the rows with the product and path, or product and document, of `failure`.
    void Remove(const RememberedFailure& failure);

private:
    class Statement;
    friend class Change;

    void Run(const char* sql);
    bool HasTable();
    void Trim();
    static std::vector<RememberedFailure> Read(Statement& query);
    [[noreturn]] void Fail() const;

    std::string _what;
    std::string _file;
    NAVO::VELLUMO::BaseDB _db;
    bool _exists;
};

}  // namespace vellumo::loader

#endif

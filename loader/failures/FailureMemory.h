// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_FAILUREMEMORY_H
#define VELLUMO_LOADER_FAILUREMEMORY_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "loader/Problem.h"
#include "loader/documents/Document.h"
#include "loader/failures/DocumentIdentity.h"
#include "loader/failures/FailureKind.h"
#include "loader/failures/FailureTable.h"
#include "loader/failures/ToolsFingerprint.h"

namespace vellumo::loader {

// The SQLite file of the failure memory.
inline constexpr const char* kFailuresFile = "/var/packages/Vellumo/etc/failures.db";

// Returns a text that changes when the conversion tools do; "" when it is unknown.
using Tools = std::function<std::string()>;

// Whether the mark that the library leaves beside a thumbnail's place after a failed attempt counts
// as a failure that is remembered. Where the memory knows the document, it decides alone.
enum class Marks { kIgnored, kCount };

// How products are called in the memory. Those that are not kept have no name: operations take null
// for them, and remember nothing.
inline constexpr const char* kPdfProduct = "pdf";
inline constexpr const char* kThumbnailProduct = "thumbnail";

// When a document may be tried again.
struct Retry {
    enum class When {
        kNow,       // its time has come, or the tools are others
        kLater,     // at `RememberedFailure::next`
        kIfChanged  // when the document or the tools change
    };
    When when;
    std::string why;  // for people: what keeps it back; "" for kNow
};

// The worker processes that have died of a document, of whose present version `failures` are.
int DeathsIn(const std::vector<RememberedFailure>& failures, const std::string& tools);

// The one of them that decides about `product`: its own, or any if the document is put aside. Null
// if there is none.
const RememberedFailure* DecidingFailure(const std::vector<RememberedFailure>& failures, int deaths,
                                         const std::string& product);

// What follows from a remembered failure of this version of the document. `deaths`: the worker
// processes that have died of the document, whatever they made.
Retry RetryOf(const RememberedFailure& failure, int deaths, const std::string& tools, int64_t now);

// The failures that were remembered at one moment, in memory: for a program that asks about very
// many documents. Holds no connection.
class KnownFailures {
public:
    // `tools` is called at most once, when a document is found.
    KnownFailures(std::vector<RememberedFailure> failures, Tools tools);

    // Why `document` must not be tried now; null when it may. Only its real path and, for the
    // message, its share path are used. Examines the document only if anything is remembered.
    std::optional<Problem> Obstacle(const Document& document, const char* product, int64_t now,
                                    Marks marks) const;

private:
    std::string CurrentTools() const;

    std::multimap<int64_t, RememberedFailure> _failures;  // by inode
    Tools _tools;
    mutable std::optional<std::string> _currentTools;
};

// The failures of conversions. A failed document is not tried again before it or the tools change.
// After a time limit or a crash it is tried again 10 minutes later, then 2 hours later, then never
// by itself; after two dead worker processes never. A success forgets.
//
// The memory is a help, no condition: except for those that say otherwise, operations do not throw.
// When the file cannot be used, they write one message to the system log and let the process's
// memory rest for a minute, so that a locked file delays no run. Each operation opens and closes
// the file itself.
class FailureMemory {
public:
    explicit FailureMemory(std::string file = kFailuresFile, Tools tools = ToolsFingerprint);

    // Why `document` must not be tried now; null when it may, and when nothing is known. Costs one
    // query.
    std::optional<Problem> Obstacle(const Document& document, const char* product, int64_t now,
                                    Marks marks = Marks::kCount) const;

    // Documents and folders were renamed, in this order: real paths before and after.
    void NoteRenames(const std::vector<std::pair<std::string, std::string>>& renames) const;

    // All that is remembered, without the tools' words. Throws Failure when the file cannot be
    // used.
    KnownFailures Read() const;

    // Remembers that `document` failed, unless `problem` is none of its faults. `identity`: of the
    // document when the conversion began.
    void NoteFailure(const Document& document, const DocumentIdentity& identity,
                     const char* product, const Problem& problem, int64_t now) const;

    // Forgets the failures of the document and product.
    void NoteSuccess(const Document& document, const DocumentIdentity& identity,
                     const char* product) const;

    // What is remembered of the document's present version. Throws Failure when the file cannot be
    // used.
    std::vector<RememberedFailure> Of(const std::string& realPath) const;

    // What is remembered of the documents at and below `realPath` ("": of all), the latest failure
    // first; at most `limit` (0: all). Throws Failure when the file cannot be used.
    std::vector<RememberedFailure> List(const std::string& realPath, int64_t limit) const;

    // Of the documents whose time for another attempt has come, at most `limit`, the latest first.
    // Empty also when the file cannot be used.
    std::vector<RememberedFailure> Due(int64_t now, int64_t limit) const;

    // Forgets the document at `realPath`, or all documents, with the marks of failed thumbnails.
    // Returns how many failures there were. Throws Failure when the file cannot be used.
    size_t Forget(const std::string& realPath) const;
    size_t ForgetAll() const;

    // For housekeeping: what is remembered of documents that are gone, and of earlier versions of
    // those that have changed.
    std::vector<RememberedFailure> Gone() const;

    // Forgets these, and leaves the marks. Returns how many they are. Throws Failure when the file
    // cannot be used.
    size_t Forget(const std::vector<RememberedFailure>& failures) const;

private:
    void Remember(RememberedFailure latest, FailureKind kind) const;

    std::string _file;
    Tools _tools;
};

}  // namespace vellumo::loader

#endif

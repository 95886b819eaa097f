// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_VISITS_H
#define VELLUMO_LOADER_VISITS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "loader/links/Links.h"

namespace vellumo::loader {

// One browser that uses a link.
struct Visit {
    std::string hash;         // of its token
    bool isUnlocked = false;  // the browser has sent the link's password
    int64_t counted = 0;      // when an opening of it last counted as a view of the link; 0: never
};

// A document that was opened through a link.
struct Opening {
    int64_t time = 0;
    std::string address;  // of the visitor; "" when it is not known
    std::string path;     // share path
};

// How a document is opened. kAsked: the visitor asks for it. kFetched: a browser fetches what the
// visitor has asked for before; only if nobody has, it is an opening.
enum class Manner { kAsked, kFetched };

// Whether something that happened at `last` (0: never) happens now once more, or still. What is
// opened again within half an hour is still the same opening.
bool IsNew(int64_t last, int64_t now, Manner manner);

// Who uses the links. A visit has a token of 256 random bits, of which only the SHA-256 is kept.
// Functions throw DatabaseError.
class Visits {
public:
    static constexpr std::chrono::hours kMost{12};
    static constexpr std::chrono::minutes kSameOpening{30};
    static constexpr int64_t kMostOpenings = 10'000;  // that are kept of a link
    static constexpr int64_t kMostLocked = 10'000;    // visits of a link without its password

    explicit Visits(const LinkDatabase& database) : _database(database) {}

    // Begins a visit and returns its token, 64 hexadecimal digits. There is none under the token
    // when the link was revoked or got another password than `link` has. Forgets visits that are
    // over, and of those that have sent no password the oldest beyond kMostLocked: a visitor who
    // sends no cookie begins one with each request.
    std::string Begin(const Link& link, bool isUnlocked, int64_t now) const;

    // The link's visit with the token; nothing when there is none or it is over.
    std::optional<Visit> Find(int64_t link, const std::string& token, int64_t now) const;

    // The visit opens a document. Counts a view of the link, once in half an hour whatever the
    // visit opens, and remembers the opening. Returns false, and does nothing, when that would be
    // one view more than the link allows: of several processes that count the last view at once,
    // one gets it.
    bool NoteOpening(const Link& link, const Visit& visit, const Opening& opening,
                     Manner manner) const;

    // What was opened through the link, the latest first; at most `limit`.
    std::vector<Opening> OpeningsOf(int64_t link, int64_t limit) const;

private:
    int64_t LastOpening(const Visit& visit, const std::string& path) const;
    bool CountView(int64_t link, const Visit& visit, int64_t now, Manner manner) const;
    void ForgetOld(int64_t link, int64_t now) const;
    void Remember(int64_t link, const Visit& visit, const Opening& opening) const;

    const LinkDatabase& _database;
};

}  // namespace vellumo::loader

#endif

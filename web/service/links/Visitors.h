// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_LINKS_VISITORS_H
#define VELLUMO_WEB_LINKS_VISITORS_H

#include <cstdint>
#include <optional>
#include <string>

#include "loader/links/Links.h"
#include "loader/links/Visits.h"
#include "login/Sessions.h"
#include "message/Message.h"

namespace vellumo::web::links {

// Somebody who comes through a sharing link, at this moment.
struct Visitor {
    loader::Link link;
    std::optional<loader::Visit> visit{};  // the browser's, if it has one
};

// Who may use which link. Nothing is remembered between two questions, so a link that is revoked is
// gone at the next one. Functions throw Refused.
class Visitors {
public:
    Visitors(const loader::LinkDatabase& database, const loader::Links& links,
             const login::Database& logins, std::string pamDirectory)
        : _links(links),
          _visits(database),
          _throttle(logins),
          _pamDirectory(std::move(pamDirectory)) {}

    // The visitor who asks. Refused: 404 for a link that is unknown or revoked, 410 for one that is
    // over, also because its owner's account is not in order (which is looked at every five
    // minutes), 401 without its password.
    Visitor Admit(const message::Question& question, int64_t now) const;

    // Tries the password. Returns the token of a visit that knows it. Refused: as Admit; 401 for a
    // wrong password, 429 after too many of them.
    std::string Unlock(const message::Question& question, int64_t now) const;

    // The visitor opens a document; begins a visit if there is none. Returns the token of a new
    // visit, else "". Refused: 410 when the link may not be viewed once more.
    std::string NoteOpening(Visitor& visitor, const loader::Opening& opening,
                            loader::Manner manner) const;

private:
    Visitor Found(const message::Question& question, int64_t now) const;
    bool IsOwnerInOrder(const loader::Link& link, int64_t now) const;

    const loader::Links& _links;
    loader::Visits _visits;
    login::Throttle _throttle;
    std::string _pamDirectory;
};

}  // namespace vellumo::web::links

#endif

// SPDX-License-Identifier: Apache-2.0
#include "links/Visitors.h"

#include <syslog.h>

#include "login/AccountCheck.h"
#include "message/Refused.h"

namespace vellumo::web::links {
namespace {

using loader::Link;
using loader::LinkState;
using message::Refused;

Refused Over() {
    return Refused({.status = 410, .code = "link-over"});
}

Refused WithoutPassword() {
    return Refused({.status = 401, .code = "link-password"});
}

// Who has opened something before the last view was used up may finish.
bool HasViewed(const Visitor& visitor) {
    return visitor.visit && visitor.visit->counted != 0;
}

}  // namespace

bool Visitors::IsOwnerInOrder(const Link& link, int64_t now) const {
    if (!login::IsSameAccount(link.owner, link.ownerId)) {
        return false;
    }
    if (link.ownerLooked + std::chrono::seconds(login::Sessions::kLookAgain).count() > now) {
        return link.ownerIsInOrder;
    }
    const bool isInOrder = login::IsAccountInOrder(link.owner, link.ownerId, _pamDirectory);
    _links.NoteLookAtOwner(link.id, isInOrder, now);
    return isInOrder;
}

Visitor Visitors::Found(const message::Question& question, int64_t now) const {
    auto link = _links.Find(question.link);
    const LinkState state = link ? loader::StateOf(*link, now) : LinkState::kRevoked;
    if (state == LinkState::kRevoked) {
        throw Refused::NotFound();
    }
    if (state == LinkState::kExpired || !IsOwnerInOrder(*link, now)) {
        throw Over();
    }
    Visitor visitor{std::move(*link)};
    visitor.visit = _visits.Find(visitor.link.id, question.visit, now);
    if (state == LinkState::kUsedUp && !HasViewed(visitor)) {
        throw Over();
    }
    return visitor;
}

Visitor Visitors::Admit(const message::Question& question, int64_t now) const {
    Visitor visitor = Found(question, now);
    const bool isUnlocked = visitor.visit && visitor.visit->isUnlocked;
    if (!visitor.link.passwordHash.empty() && !isUnlocked) {
        throw WithoutPassword();
    }
    return visitor;
}

std::string Visitors::Unlock(const message::Question& question, int64_t now) const {
    const Visitor visitor = Found(question, now);
    const Link& link = visitor.link;
    const auto countings = login::Throttle::OfLink(link.id, question.address);
    if (const int64_t delay = _throttle.Delay(countings, now)) {
        throw Refused({.status = 429, .retryAfter = static_cast<uint32_t>(delay), .code = "wait"});
    }
    // Counted before the try, so that tries at the same time do not all begin at once.
    _throttle.NoteFailure(countings, now);
    const bool isRight =
        question.password.size() <= loader::kLongestPassword &&
        (link.passwordHash.empty() || loader::IsPassword(link.passwordHash, question.password));
    if (!isRight) {
        syslog(LOG_NOTICE, "wrong password for the sharing link %lld from '%s'",
               static_cast<long long>(link.id), question.address.c_str());
        throw WithoutPassword();
    }
    _throttle.NoteSuccess(countings);
    return _visits.Begin(link, true, now);
}

std::string Visitors::NoteOpening(Visitor& visitor, const loader::Opening& opening,
                                  loader::Manner manner) const {
    std::string token;
    if (!visitor.visit) {
        token = _visits.Begin(visitor.link, false, opening.time);
        visitor.visit = _visits.Find(visitor.link.id, token, opening.time);
    }
    if (!visitor.visit || !_visits.NoteOpening(visitor.link, *visitor.visit, opening, manner)) {
        throw Over();
    }
    return token;
}

}  // namespace vellumo::web::links

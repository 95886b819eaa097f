// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_BODIES_H
#define VELLUMO_WEB_FRONT_BODIES_H

#include <optional>
#include <string>
#include <vector>

#include "message/Message.h"

namespace vellumo::web::front {

// What the JSON in the body of a request says, put into the question. Each returns false when the
// body is not what it should be; a member that is not known is an error too, for whoever sends it
// expects something of it.

// {"user", "password"}
bool TakeLogin(const std::string& body, message::Question& question);

// {"password"}
bool TakePassword(const std::string& body, message::Question& question);

// {"page"}, which is at least 1
bool TakePage(const std::string& body, message::Question& question);

// A document that a page shows.
struct ShownDocument {
    std::string href;  // as the page says it: percent-encoded
    std::string path;
};

// {"paths"}: at most 200. Nothing when the body is not what it should be.
std::optional<std::vector<ShownDocument>> ShownIn(const std::string& body);

// {"path", "label", "password", "expires", "maxViews", "download"} of a new sharing link, of which
// only the path must be there: percent-encoded, as in the addresses of the page. "path" is not in a
// change, but "revoked" may be. null for the password, expires and maxViews means none.
bool TakeTerms(const std::string& body, message::Question& question);

}  // namespace vellumo::web::front

#endif

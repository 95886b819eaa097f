// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_LINKREPLIES_H
#define VELLUMO_WEB_WORKER_LINKREPLIES_H

#include <string>

#include "worker/Authority.h"

namespace vellumo::web::worker {

// What a person does with the sharing links of the person's own account, answered as JSON. A link
// of somebody else is "not found". All throw Refused.

// {"links": [{"id", "token", "path", "href", "kind", "label", "state", "password", "expires",
// "maxViews", "views", "download", "made"}]}, the latest first.
std::string LinksOf(const Asker& asker, const Authority& authority);

// A new link to what the person may read at this moment; answers the link.
std::string AddLink(const Asker& asker, const message::Question& question,
                    const Authority& authority);

// Answers the changed link.
std::string ChangeLink(const Asker& asker, const message::Question& question,
                       const Authority& authority);

// Answers {}.
std::string RemoveLink(const Asker& asker, const message::Question& question,
                       const Authority& authority);

// {"visits": [{"time", "address", "path"}]}, the latest 1,000.
std::string VisitsOf(const Asker& asker, const message::Question& question,
                     const Authority& authority);

}  // namespace vellumo::web::worker

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_LISTING_H
#define VELLUMO_WEB_WORKER_LISTING_H

#include <string>

#include "message/Message.h"
#include "worker/Authority.h"

namespace vellumo::web::worker {

// The shares that the user may use, as JSON: {"shares": [{"name": …, "href": …}]}. The user's own
// home is the share "home".
std::string SharesFor(const Asker& asker, const message::Question& question,
                      const Authority& authority);

// One page of the folder, as JSON: {"entries": [{"name", "href", "kind", "size", "time", "version",
// "viewable"}], "next": cursor or null}. Throws Refused.
std::string PageOf(const Asker& asker, const message::Question& question,
                   const Authority& authority);

}  // namespace vellumo::web::worker

#endif

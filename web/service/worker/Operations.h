// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_OPERATIONS_H
#define VELLUMO_WEB_WORKER_OPERATIONS_H

#include "message/Message.h"
#include "support/Descriptor.h"
#include "worker/Authority.h"

namespace vellumo::web::worker {

struct Reply {
    message::Answer answer;
    support::Descriptor file{};  // its content, if it has any
};

// The answer to `question`. `connection`: of the question, for news while it is worked on. Never
// throws.
Reply AnswerTo(const message::Question& question, const Authority& authority,
               const support::Descriptor& connection);

}  // namespace vellumo::web::worker

#endif

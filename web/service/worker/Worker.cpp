// SPDX-License-Identifier: Apache-2.0
#include "worker/Worker.h"

#include <syslog.h>

#include <cerrno>
#include <cstdlib>

#include "message/Mail.h"
#include "worker/AsUser.h"
#include "worker/Capabilities.h"
#include "worker/Operations.h"

namespace vellumo::web::worker {
namespace {

void SendReply(const support::Descriptor& connection, const Reply& reply) {
    const auto bytes = message::Encode(reply.answer);
    if (bytes) {
        message::Send(connection, *bytes, reply.file.Get());
    }
}

}  // namespace

int ServeQuestions(const support::Descriptor& queue, const WorkerSettings& settings) {
    KeepOnly(settings.converts ? CapabilitiesForConverting() : CapabilitiesForLooking());
    const Identity before = Identity::Now();
    const login::Database database;
    const loader::LinkDatabase links;
    const loader::LinkKey key;
    const Authority authority(database, links, key, settings.pamDirectory);
    while (const auto mail = message::Receive(queue)) {
        const auto question = message::DecodeQuestion(mail->bytes);
        // Without the right to ask there is no answer: the connection closes.
        if (!question || !message::IsFrom(mail->file, settings.front)) {
            syslog(LOG_ERR, "a message that the front does not send was dropped");
            continue;
        }
        const Reply reply = AnswerTo(*question, authority, mail->file);
        if (!(Identity::Now() == before)) {
            syslog(LOG_CRIT, "the ids have changed; this process ends");
            std::abort();
        }
        SendReply(mail->file, reply);
    }
    return errno == EPIPE ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace vellumo::web::worker

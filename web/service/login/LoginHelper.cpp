// SPDX-License-Identifier: Apache-2.0
#include "login/LoginHelper.h"

#include <syslog.h>

#include <algorithm>
#include <cctype>
#include <ctime>

#include "login/Pam.h"
#include "login/Sessions.h"
#include "message/Mail.h"
#include "message/SessionMark.h"

namespace vellumo::web::login {
namespace {

using message::Answer;
using message::Kind;
using message::Question;

constexpr size_t kLongestName = 256;
constexpr int64_t kMinute = 60;  // seconds
constexpr int64_t kMostByProxy = 20;
constexpr uint16_t kOk = 200;
constexpr uint16_t kRefused = 401;
constexpr uint16_t kTooMany = 429;
constexpr uint16_t kUnavailable = 503;

bool IsName(const std::string& user) {
    return !user.empty() && user.size() <= kLongestName &&
           std::none_of(user.begin(), user.end(),
                        [](unsigned char letter) { return std::iscntrl(letter) != 0; });
}

Answer Refused() {
    return {.status = kRefused, .code = "login-refused"};
}

bool IsByProxy(const Question& question) {
    return question.kind == Kind::kProxyLogin;
}

// The end of a line in the log.
const char* HowOf(const Question& question) {
    return IsByProxy(question) ? ", named by the proxy" : "";
}

// Nothing but this keeps a proxy from naming a system account, which has no password that counts.
Verdict LookAtPerson(const std::string& user, const LoginSettings& settings) {
    const auto account = FindAccount(user);
    if (!account || account->id == settings.front || !IsOfPerson(account->id)) {
        return Verdict::kRefused;
    }
    return LookAt(account->name, settings.pamDirectory);
}

// Seconds until one more session may begin by the proxy's word: without a wait, a client that keeps
// no cookie would fill the table of sessions.
int64_t DelayOfSession(const Question& question, const Sessions& sessions, int64_t now) {
    const bool isTooMuch =
        IsByProxy(question) && sessions.CountBegun(question.user, now - kMinute) >= kMostByProxy;
    return isTooMuch ? kMinute : 0;
}

}  // namespace

Answer TryLogin(const Question& question, const LoginSettings& settings, int64_t now) {
    if (!IsName(question.user)) {
        return Refused();
    }
    const Database database;
    const Throttle throttle(database);
    const Sessions sessions(database);
    const auto countings = IsByProxy(question) ? Throttle::OfProxyLogin(question.user)
                                               : Throttle::OfLogin(question.user, question.address);
    if (const int64_t delay =
            std::max(throttle.Delay(countings, now), DelayOfSession(question, sessions, now))) {
        return {.status = kTooMany, .retryAfter = static_cast<uint32_t>(delay), .code = "wait"};
    }
    // Counted before the try, so that tries at the same time do not all begin at once.
    throttle.NoteFailure(countings, now);
    const Verdict verdict =
        IsByProxy(question)
            ? LookAtPerson(question.user, settings)
            : LogIn({question.user, question.password, question.address}, settings.pamDirectory);
    if (verdict == Verdict::kUnavailable) {
        return {.status = kUnavailable, .code = "login-unavailable"};
    }
    const auto account = FindAccount(question.user);
    if (verdict != Verdict::kAccepted || !account) {
        syslog(LOG_NOTICE, "login refused for '%s' from '%s'%s", question.user.c_str(),
               question.address.c_str(), HowOf(question));
        return Refused();
    }
    throttle.NoteSuccess(countings);
    sessions.End(question.token);
    const std::string token = sessions.Begin(account->name, account->id, now);
    syslog(LOG_INFO, "'%s' has logged in from '%s', session %s%s", account->name.c_str(),
           question.address.c_str(), message::SessionMark(token).c_str(), HowOf(question));
    return {.status = kOk, .token = token};
}

int ServeOneLogin(const support::Descriptor& queue, const LoginSettings& settings) {
    const auto mail = message::Receive(queue);
    if (!mail) {
        return errno == EPIPE ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    const auto question = message::DecodeQuestion(mail->bytes);
    if (!question || question->kind != settings.kind ||
        !message::IsFrom(mail->file, settings.front)) {
        return EXIT_FAILURE;
    }
    const Answer answer = TryLogin(*question, settings, std::time(nullptr));
    if (const auto bytes = message::Encode(answer)) {
        message::Send(mail->file, *bytes);
    }
    return EXIT_SUCCESS;
}

}  // namespace vellumo::web::login

// SPDX-License-Identifier: Apache-2.0
// Messages between the service's processes: bytes are one message or none, a message has one form,
// and what the processes with the rights of root rely on is true of each.
#include <algorithm>
#include <string_view>

#include "Fuzz.h"
#include "loader/links/LinkToken.h"
#include "message/Message.h"

using vellumo::test::Require;
namespace message = vellumo::web::message;

namespace {

bool IsPath(const std::string& path) {
    return path.starts_with('/') && path.find('\0') == std::string::npos;
}

// Whoever comes through a sharing link is nobody else, and reads.
void CheckVisitor(const message::Question& question) {
    using message::Kind;
    Require(question.token.empty(), "a visitor has no session");
    Require(vellumo::loader::IsLinkToken(question.link), "a visitor has a link");
    for (const Kind kind :
         {Kind::kShares, Kind::kLogin, Kind::kLogout, Kind::kLogoutAll, Kind::kPlace,
          Kind::kSetPlace, Kind::kLinks, Kind::kAddLink, Kind::kChangeLink, Kind::kRemoveLink,
          Kind::kLinkVisits, Kind::kProxyLogin, Kind::kCancel}) {
        Require(question.kind != kind, "a visitor asks what visitors may ask");
    }
}

void Check(const message::Question& question) {
    for (const std::string* text :
         {&question.token, &question.link, &question.visit, &question.address, &question.sort,
          &question.cursor, &question.user, &question.password, &question.label}) {
        Require(text->find('\0') == std::string::npos, "a text has no NUL");
    }
    Require(question.path.empty() || IsPath(question.path), "a path");
    Require(question.paths.size() <= message::kMostPaths, "a few paths");
    Require(std::all_of(question.paths.begin(), question.paths.end(), IsPath), "each is a path");
    Require(question.terms.given <= message::LinkTerms::kAll && question.terms.mayDownload <= 1 &&
                question.terms.isRevoked <= 1,
            "the terms of a link mean something");
    Require(question.kind != message::Kind::kCancel, "a question that only the front answers");
    if (!question.link.empty()) {
        CheckVisitor(question);
    } else {
        Require(question.visit.empty(), "a visit has a link");
    }
}

void Check(const message::Answer& answer) {
    Require(answer.status >= 100 && answer.status < 600, "a status");
    Require(answer.pictures.size() <= message::kMostPaths, "a few pictures");
    for (const message::PictureState& picture : answer.pictures) {
        Require(picture.status >= 100 && picture.status < 600, "the status of a picture");
        Require(picture.code.find('\0') == std::string::npos &&
                    picture.version.find('\0') == std::string::npos,
                "a text has no NUL");
    }
}

// A message of what the bytes say, whether it is possible or not: what is sent comes out as it went
// in, or is refused.
void SendMade(std::string_view bytes) {
    const auto next = [&bytes] {
        const size_t count = std::min<size_t>(bytes.size(), bytes.empty() ? 0 : bytes[0] & 0x3F);
        std::string text(bytes.substr(0, count));
        bytes.remove_prefix(std::max<size_t>(count, bytes.empty() ? 0 : 1));
        return text;
    };
    message::Question question;
    question.kind = static_cast<message::Kind>(bytes.empty() ? 0 : bytes[0]);
    question.page = static_cast<uint32_t>(bytes.size());
    question.token = next();
    question.link = next();
    question.path = next();
    question.user = next();
    message::Answer answer{.status = 200};
    while (!bytes.empty()) {
        question.paths.push_back(next());
        answer.pictures.push_back({.status = 200, .code = next(), .version = next()});
    }
    if (const auto sent = message::Encode(question)) {
        const auto received = message::DecodeQuestion(*sent);
        Require(!received || *received == question, "a question comes as it was sent");
    }
    if (const auto sent = message::Encode(answer)) {
        Require(message::DecodeAnswer(*sent) == answer, "an answer comes as it was sent");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (const auto question = message::DecodeQuestion(bytes)) {
        Require(message::Encode(*question) == bytes, "a question has one form");
        Check(*question);
    }
    if (const auto answer = message::DecodeAnswer(bytes)) {
        Require(message::Encode(*answer) == bytes, "an answer has one form");
        Check(*answer);
    }
    SendMade(bytes);
    return 0;
}

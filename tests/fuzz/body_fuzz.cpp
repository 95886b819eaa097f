// SPDX-License-Identifier: Apache-2.0
// Bodies of requests: what they say of logins, links and pages makes a question that is possible.
#include <string>

#include "Fuzz.h"
#include "front/Bodies.h"

using vellumo::test::Require;
namespace front = vellumo::web::front;
namespace message = vellumo::web::message;

namespace {

// What is in the question reaches the other process, unless it is too long or has a NUL.
void CheckSent(const message::Question& question) {
    if (const auto bytes = message::Encode(question)) {
        Require(message::DecodeQuestion(*bytes) == question, "the question is possible");
    }
}

void CheckTerms(const std::string& body, message::Kind kind) {
    message::Question question{.kind = kind};
    if (front::TakeTerms(body, question)) {
        Require((kind == message::Kind::kAddLink) == !question.path.empty(),
                "a new link has a path");
        CheckSent(question);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string body(reinterpret_cast<const char*>(data), size);
    message::Question login{.kind = message::Kind::kLogin};
    if (front::TakeLogin(body, login)) {
        CheckSent(login);
    }
    message::Question password{.kind = message::Kind::kLogin};
    if (front::TakePassword(body, password)) {
        CheckSent(password);
    }
    message::Question place{.kind = message::Kind::kSetPlace};
    if (front::TakePage(body, place)) {
        Require(place.page >= 1, "a page");
        CheckSent(place);
    }
    CheckTerms(body, message::Kind::kAddLink);
    CheckTerms(body, message::Kind::kChangeLink);
    if (const auto shown = front::ShownIn(body)) {
        Require(shown->size() <= 200, "not too many documents");
        for (const front::ShownDocument& document : *shown) {
            Require(document.path.starts_with('/'), "a path");
        }
    }
    return 0;
}

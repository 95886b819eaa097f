// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_MESSAGE_REFUSED_H
#define VELLUMO_WEB_MESSAGE_REFUSED_H

#include <exception>
#include <utility>

#include "message/Message.h"

namespace vellumo::web::message {

// Thrown when a question is answered with an error. What is missing and what the asker has no right
// to have the same answer.
class Refused : public std::exception {
public:
    explicit Refused(message::Answer answer) : _answer(std::move(answer)) {}
    static Refused NotFound() { return Refused({.status = 404, .code = "not-found"}); }

    const char* what() const noexcept override { return _answer.code.c_str(); }
    const message::Answer& Answer() const { return _answer; }

private:
    message::Answer _answer;
};

}  // namespace vellumo::web::message

#endif

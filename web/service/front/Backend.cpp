// SPDX-License-Identifier: Apache-2.0
#include "front/Backend.h"

#include <fcntl.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>

namespace vellumo::web::front {
namespace {

using asio::posix::stream_descriptor;
using message::Wait;

constexpr std::chrono::milliseconds kLookAgain{20};
constexpr int kLooks = 500;

// Functions, since GCC 12 miscompiles braces inside co_return.
Reply TryAgain() {
    return {{.status = 503, .retryAfter = 1, .code = "try-again"}};
}

Reply TooLong() {
    return {{.status = 413, .code = "too-long"}};
}

Reply ReplyOf(message::Answer answer, support::Descriptor file) {
    return {std::move(answer), std::move(file)};
}

asio::awaitable<void> Pause(asio::io_context& loop, std::chrono::milliseconds time) {
    asio::steady_timer timer(loop, time);
    boost::system::error_code ignored;
    co_await timer.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
}

}  // namespace

Backend::Backend(asio::io_context& loop, support::Descriptor queue)
    : _loop(loop), _queue(std::move(queue)) {}

asio::awaitable<bool> Backend::Send(const std::string& bytes,
                                    const support::Descriptor& connection) {
    for (int look = 0; look < kLooks; ++look) {
        if (message::Send(_queue, bytes, connection.Get(), Wait::kReturnsAtOnce)) {
            co_return true;
        }
        // ETOOMANYREFS: too many descriptors are on their way.
        if (errno != EAGAIN && errno != ETOOMANYREFS) {
            co_return false;
        }
        co_await Pause(_loop, kLookAgain);
    }
    co_return false;
}

void Backend::Line::AskToStop() const {
    if (_connection) {
        message::Send(_connection, message::kStop, -1, Wait::kReturnsAtOnce);
    }
}

asio::awaitable<Reply> Backend::Ask(message::Question question, News news,
                                    std::shared_ptr<Line> line) {
    const auto bytes = message::Encode(question);
    if (!bytes) {
        co_return TooLong();
    }
    message::Ends ends = message::MakeEnds();
    if (!ends.one) {
        co_return TryAgain();
    }
    const bool isSent = co_await Send(*bytes, ends.other);
    if (!isSent) {
        co_return TryAgain();
    }
    // From now on only the process that answers holds the other end, so its death is seen.
    ends.other.Close();
    if (line) {
        line->_connection = support::Descriptor(fcntl(ends.one.Get(), F_DUPFD_CLOEXEC, 0));
    }
    co_return co_await AnswerFrom(std::move(ends.one), std::move(news));
}

asio::awaitable<Reply> Backend::AnswerFrom(support::Descriptor connection, News news) {
    support::Descriptor waited(fcntl(connection.Get(), F_DUPFD_CLOEXEC, 0));
    if (!waited) {
        co_return TryAgain();
    }
    stream_descriptor readable(_loop, waited.Release());
    for (;;) {
        boost::system::error_code error;
        co_await readable.async_wait(stream_descriptor::wait_read,
                                     asio::redirect_error(asio::use_awaitable, error));
        auto mail = message::Receive(connection, Wait::kReturnsAtOnce);
        if (!mail && errno == EAGAIN && !error) {
            continue;
        }
        auto answer = mail ? message::DecodeAnswer(mail->bytes) : std::nullopt;
        if (!answer) {
            co_return TryAgain();
        }
        if (answer->status != 102) {
            co_return ReplyOf(std::move(*answer), std::move(mail->file));
        }
        if (news) {
            news(answer->code);
        }
    }
}

}  // namespace vellumo::web::front

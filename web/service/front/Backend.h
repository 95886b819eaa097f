// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_BACKEND_H
#define VELLUMO_WEB_FRONT_BACKEND_H

#include <functional>
#include <memory>
#include <utility>  // before Asio, whose coroutines use it without including it

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>

#include "message/Mail.h"
#include "message/Message.h"

namespace vellumo::web::front {

namespace asio = boost::asio;

struct Reply {
    message::Answer answer;
    support::Descriptor file{};
};

// The queue of one kind of processes with the rights of root. Each question goes to the one that is
// free first, with a connection of its own for the answer.
class Backend {
public:
    using News = std::function<void(const std::string& phase)>;

    // The way to the process that converts, while it does.
    class Line {
    public:
        // Asks the process to stop; nothing happens when it has ended.
        void AskToStop() const;

    private:
        friend class Backend;
        support::Descriptor _connection;
    };

    // `queue`: the sending end.
    Backend(asio::io_context& loop, support::Descriptor queue);

    // Asks, and waits for the answer without blocking other connections. The status is 503 when no
    // process takes the question within 10 seconds, or the process dies: the client may try again.
    // `line`: may be empty.
    asio::awaitable<Reply> Ask(message::Question question, News news = {},
                               std::shared_ptr<Line> line = {});

private:
    asio::awaitable<bool> Send(const std::string& bytes, const support::Descriptor& connection);
    asio::awaitable<Reply> AnswerFrom(support::Descriptor connection, News news);

    asio::io_context& _loop;
    support::Descriptor _queue;
};

}  // namespace vellumo::web::front

#endif

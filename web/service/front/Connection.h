// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_CONNECTION_H
#define VELLUMO_WEB_FRONT_CONNECTION_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "front/Exchange.h"
#include "front/Router.h"

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

namespace vellumo::web::front {

// One client's connection: its requests one after the other. A client that is slow, or does
// nothing, loses it.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    using Socket = asio::generic::stream_protocol::socket;

    struct Client {
        std::string address;       // "" when unknown
        bool isForwarded = false;  // a proxy in front says who the client is
    };
    using Handler =
        std::function<asio::awaitable<Response>(const http::Request&, const std::string& address)>;
    using Recorder = std::function<void(const Exchange&)>;

    // What every connection of a socket does with its requests; must outlive them.
    struct Service {
        Handler answer;
        Recorder note;  // called after each answer
    };
    Connection(Socket socket, const Service& service, Client client);

    // Returns when the connection has ended.
    asio::awaitable<void> Serve();

private:
    using Seconds = std::chrono::seconds;

    // Ends the connection unless another limit is set within `limit`.
    void EndsAfter(Seconds limit);
    asio::awaitable<http::Parsed> Read();
    asio::awaitable<bool> Send(std::string_view bytes);
    asio::awaitable<bool> SendFile(int file, uint64_t first, uint64_t length);
    asio::awaitable<bool> SendResponse(Response response, bool hasContent);
    std::string AddressOf(const http::Request& request) const;
    asio::awaitable<bool> AnswerTo(const http::Parsed& parsed);

    Socket _socket;
    const Service& _service;
    Client _client;
    asio::steady_timer _limit;
    uint64_t _sent = 0;  // of the content of the present answer
    std::string _bytes;  // received and not yet part of a request
};

}  // namespace vellumo::web::front

#endif

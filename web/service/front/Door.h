// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_DOOR_H
#define VELLUMO_WEB_FRONT_DOOR_H

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>

#include "front/Connection.h"
#include "support/Descriptor.h"

namespace vellumo::web::front {

// Who may connect, and how many.
class Doorkeeper {
public:
    // `isForwarded`: a proxy in front says who the clients are. `peer`: the only account that may
    // connect; nothing: all.
    Doorkeeper(bool isForwarded, std::optional<uid_t> peer)
        : _isForwarded(isForwarded), _peer(peer) {}

    // Whether a new connection may stay. `address`: of the client; "" for one of a Unix socket.
    bool LetsIn(const support::Descriptor& client, const std::string& address) const;

    void NoteBegin(const std::string& address);
    void NoteEnd(const std::string& address);

    bool IsForwarded() const { return _isForwarded; }
    size_t Count() const { return _count; }

private:
    bool HasRoomFor(const std::string& address) const;

    bool _isForwarded;
    std::optional<uid_t> _peer;
    size_t _count = 0;
    std::map<std::string, size_t> _ofAddress;
};

// Starts a coroutine without which the process cannot go on: what it throws ends the loop.
void Spawn(asio::io_context& loop, asio::awaitable<void> coroutine);

// Accepts the connections of one socket.
class Door {
public:
    // `service` and `keeper` must outlive the connections.
    Door(asio::io_context& loop, const Connection::Service& service, support::Descriptor listening,
         Doorkeeper& keeper)
        : _loop(loop), _service(service), _listening(std::move(listening)), _keeper(keeper) {}

    // Never returns; throws when the socket cannot be watched.
    asio::awaitable<void> Keep();

private:
    void LetIn();
    asio::awaitable<void> Serve(Connection::Socket socket, std::string address);

    asio::io_context& _loop;
    const Connection::Service& _service;
    support::Descriptor _listening;
    Doorkeeper& _keeper;
};

}  // namespace vellumo::web::front

#endif

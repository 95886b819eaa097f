// SPDX-License-Identifier: Apache-2.0
#include "front/Door.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <exception>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace vellumo::web::front {
namespace {

using support::Descriptor;

constexpr size_t kMostConnections = 1000;
constexpr size_t kMostOfAddress = 40;

// The address of a TCP client; "" for one of a Unix socket.
std::string AddressOf(const sockaddr_storage& peer) {
    if (peer.ss_family == AF_INET) {
        const auto& inet = reinterpret_cast<const sockaddr_in&>(peer);
        return asio::ip::address_v4(ntohl(inet.sin_addr.s_addr)).to_string();
    }
    if (peer.ss_family != AF_INET6) {
        return "";
    }
    const auto& inet = reinterpret_cast<const sockaddr_in6&>(peer);
    asio::ip::address_v6::bytes_type bytes{};
    std::copy(std::begin(inet.sin6_addr.s6_addr), std::end(inet.sin6_addr.s6_addr), bytes.begin());
    const asio::ip::address_v6 address(bytes);
    return address.is_v4_mapped()
               ? asio::ip::make_address_v4(asio::ip::v4_mapped, address).to_string()
               : address.to_string();
}

// Of clients of TCP, the kernel says nothing, so they are nobody's.
bool IsFrom(const Descriptor& client, uid_t user) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    return getsockopt(client.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid != 0 &&
           peer.uid == user;
}

}  // namespace

bool Doorkeeper::LetsIn(const Descriptor& client, const std::string& address) const {
    return HasRoomFor(address) && (!_peer || IsFrom(client, *_peer));
}

void Doorkeeper::NoteBegin(const std::string& address) {
    ++_count;
    ++_ofAddress[address];
}

void Doorkeeper::NoteEnd(const std::string& address) {
    --_count;
    if (--_ofAddress[address] == 0) {
        _ofAddress.erase(address);
    }
}

// A proxy's connections are those of many clients.
bool Doorkeeper::HasRoomFor(const std::string& address) const {
    const auto found = _ofAddress.find(address);
    const bool isOne = !_isForwarded && !address.empty();
    return _count < kMostConnections &&
           (!isOne || found == _ofAddress.end() || found->second < kMostOfAddress);
}

void Spawn(asio::io_context& loop, asio::awaitable<void> coroutine) {
    asio::co_spawn(loop, std::move(coroutine), [](const std::exception_ptr& error) {
        if (error) {
            std::rethrow_exception(error);
        }
    });
}

asio::awaitable<void> Door::Keep() {
    asio::posix::stream_descriptor arrivals(_loop, fcntl(_listening.Get(), F_DUPFD_CLOEXEC, 0));
    for (;;) {
        boost::system::error_code error;
        co_await arrivals.async_wait(asio::posix::stream_descriptor::wait_read,
                                     asio::redirect_error(asio::use_awaitable, error));
        LetIn();
    }
}

void Door::LetIn() {
    sockaddr_storage peer{};
    socklen_t size = sizeof(peer);
    Descriptor client(accept4(_listening.Get(), reinterpret_cast<sockaddr*>(&peer), &size,
                              SOCK_CLOEXEC | SOCK_NONBLOCK));
    const std::string address = client ? AddressOf(peer) : "";
    if (!client || !_keeper.LetsIn(client, address)) {
        return;
    }
    const int family = peer.ss_family == AF_UNSPEC ? AF_UNIX : peer.ss_family;
    const int yes = 1;
    setsockopt(client.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));  // TCP only
    Connection::Socket socket(_loop, asio::generic::stream_protocol(family, 0), client.Release());
    asio::co_spawn(_loop, Serve(std::move(socket), address), asio::detached);
}

asio::awaitable<void> Door::Serve(Connection::Socket socket, std::string address) {
    _keeper.NoteBegin(address);
    try {
        const auto connection = std::make_shared<Connection>(
            std::move(socket), _service, Connection::Client{address, _keeper.IsForwarded()});
        co_await connection->Serve();
    } catch (const std::exception& error) {
        syslog(LOG_ERR, "a connection ended: %s", error.what());
    }
    _keeper.NoteEnd(address);
}

}  // namespace vellumo::web::front

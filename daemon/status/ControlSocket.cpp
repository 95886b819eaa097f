// SPDX-License-Identifier: Apache-2.0
#include "status/ControlSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "loader/Problem.h"
#include "loader/daemon/DaemonClient.h"

namespace vellumo::daemon {
namespace {

using support::Descriptor;

constexpr size_t kMostClients = 16;
constexpr size_t kLongestQuestion = 64;
constexpr int kBacklog = 128;

// A client has to ask at once. The whole may take as long as a trial conversion.
constexpr auto kPatienceForQuestion = std::chrono::seconds(3);
constexpr auto kPatience = std::chrono::seconds(300);

// No other user can connect, not even in the moment before the mode is set: the socket is created
// with the process's umask.
Descriptor Listen(const char* path) {
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    unlink(path);
    const mode_t before = umask(S_IRWXG | S_IRWXO);
    const bool isBound = socket && bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address),
                                        sizeof(address)) == 0;
    umask(before);
    if (!isBound || listen(socket.Get(), kBacklog) != 0) {
        throw loader::Failure({loader::Reason::kNotPrepared, "cannot start",
                               std::string(path) + " cannot be created: " + std::strerror(errno),
                               "Check the folder."});
    }
    return socket;
}

bool IsRoot(const Descriptor& socket) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    return getsockopt(socket.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == 0;
}

bool WouldBlock() {
    return errno == EAGAIN || errno == EINTR;
}

}  // namespace

ControlSocket::ControlSocket(Answerer answer)
    : _answer(std::move(answer)), _listening(Listen(loader::kDaemonSocket)) {}

ControlSocket::~ControlSocket() {
    unlink(loader::kDaemonSocket);
}

void ControlSocket::Serve() {
    Accept();
    for (auto client = _clients.begin(); client != _clients.end();) {
        client = Serve(*client) ? std::next(client) : _clients.erase(client);
    }
}

void ControlSocket::Accept() {
    while (_clients.size() < kMostClients) {
        Descriptor socket(
            accept4(_listening.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket) {
            return;
        }
        if (IsRoot(socket)) {
            _clients.emplace_back().socket = std::move(socket);
        }
    }
}

// False when the client is done with.
bool ControlSocket::Serve(Client& client) const {
    const auto limit = client.isAsked ? kPatience : kPatienceForQuestion;
    if (Clock::now() - client.begin > limit || (!client.isAsked && !Read(client))) {
        return false;
    }
    if (client.isAsked && !client.isAnswered) {
        if (auto answer = _answer(client.question)) {
            client.answer = std::move(*answer);
            client.isAnswered = true;
        }
    }
    return !client.isAnswered || Send(client);
}

bool ControlSocket::Read(Client& client) {
    std::array<char, kLongestQuestion> bytes{};
    const ssize_t length = recv(client.socket.Get(), bytes.data(), bytes.size(), 0);
    if (length <= 0) {
        return length < 0 && WouldBlock();
    }
    client.question.append(bytes.data(), static_cast<size_t>(length));
    const size_t end = client.question.find('\n');
    client.isAsked = end != std::string::npos;
    if (client.isAsked) {
        client.question.resize(end);
    }
    return client.question.size() <= kLongestQuestion;
}

// False when everything is sent, or the client is gone.
bool ControlSocket::Send(Client& client) {
    while (!client.answer.empty()) {
        const ssize_t length =
            send(client.socket.Get(), client.answer.data(), client.answer.size(), MSG_NOSIGNAL);
        if (length < 0) {
            return WouldBlock();
        }
        client.answer.erase(0, static_cast<size_t>(length));
    }
    return false;
}

void ControlSocket::AddTo(std::vector<pollfd>& sources) const {
    if (_clients.size() < kMostClients) {
        sources.push_back({_listening.Get(), POLLIN, 0});
    }
    for (const Client& client : _clients) {
        if (!client.isAsked || client.isAnswered) {
            sources.push_back(
                {client.socket.Get(), static_cast<short>(client.isAsked ? POLLOUT : POLLIN), 0});
        }
    }
}

}  // namespace vellumo::daemon

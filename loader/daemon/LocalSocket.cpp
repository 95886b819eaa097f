// SPDX-License-Identifier: Apache-2.0
#include "loader/daemon/LocalSocket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "support/Descriptor.h"

namespace vellumo::loader {
namespace {

using Clock = std::chrono::steady_clock;
using support::Descriptor;

constexpr size_t kReadSize = 65536;

Descriptor ConnectTo(const std::string& path) {
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (socket &&
        connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        socket.Close();
    }
    return socket;
}

// Waits until `socket` is readable; false, with errno, when it is not by `end`.
bool WaitFor(const Descriptor& socket, Clock::time_point end) {
    pollfd source{socket.Get(), POLLIN, 0};
    int ready = 0;
    do {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        ready = left <= 0 ? 0 : poll(&source, 1, static_cast<int>(left));
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) {
        errno = ETIMEDOUT;
    }
    return ready > 0;
}

}  // namespace

std::optional<std::string> AskSocket(const std::string& path, const std::string& question,
                                     std::chrono::seconds limit) {
    const auto end = Clock::now() + limit;
    const Descriptor socket = ConnectTo(path);
    if (!socket || send(socket.Get(), question.data(), question.size(), MSG_NOSIGNAL) < 0) {
        return std::nullopt;
    }
    std::string answer;
    while (WaitFor(socket, end)) {
        std::array<char, kReadSize> bytes{};
        const ssize_t length = support::Uninterrupted(
            [&] { return recv(socket.Get(), bytes.data(), bytes.size(), 0); });
        if (length < 0) {
            return std::nullopt;
        }
        if (length == 0) {
            return answer;
        }
        answer.append(bytes.data(), static_cast<size_t>(length));
    }
    return std::nullopt;
}

}  // namespace vellumo::loader

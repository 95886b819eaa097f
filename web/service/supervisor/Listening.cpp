// SPDX-License-Identifier: Apache-2.0
#include "supervisor/Listening.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <charconv>
#include <cstring>
#include <stdexcept>

namespace vellumo::web::supervisor {
namespace {

using support::Descriptor;

constexpr mode_t kEverybody = 0666;
constexpr mode_t kOwnerOnly = 0600;
constexpr int kWaiting = 512;  // connections that have not been accepted yet

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

union Address {
    sockaddr any;
    sockaddr_in inet;
    sockaddr_in6 inet6;
    sockaddr_un local;
};

socklen_t SizeOf(const Address& address) {
    switch (address.any.sa_family) {
        case AF_INET:
            return sizeof(address.inet);
        case AF_INET6:
            return sizeof(address.inet6);
        default:
            return sizeof(address.local);
    }
}

// A socket at the address, which does not listen yet; empty, with errno, on failure.
Descriptor BoundTo(const Address& address) {
    Descriptor socket(
        ::socket(address.any.sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int yes = 1;
    setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    if (socket && bind(socket.Get(), &address.any, SizeOf(address)) != 0) {
        const int error = errno;
        socket.Close();
        errno = error;
    }
    return socket;
}

Descriptor ListenAt(const Address& address, const std::string& place) {
    Descriptor socket = BoundTo(address);
    if (!socket || listen(socket.Get(), kWaiting) != 0) {
        Fail("cannot listen on " + place);
    }
    return socket;
}

Address UnixAddress(const std::string& path) {
    Address address{};
    address.local.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.local.sun_path)) {
        throw std::runtime_error("the path of the socket is too long: " + path);
    }
    path.copy(address.local.sun_path, sizeof(address.local.sun_path) - 1);
    return address;
}

// `mode` and `owner`: who may connect. Nobody can before they are set: the mask takes all rights.
Descriptor ListenOnUnixSocket(const std::string& path, mode_t mode, uid_t owner = 0) {
    const Address address = UnixAddress(path);
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        unlink(path.c_str());  // of a service that has ended
    }
    constexpr mode_t kNobody = 0777;
    const mode_t before = umask(kNobody);
    Descriptor socket = BoundTo(address);
    umask(before);
    const bool isOwned = socket && (owner == 0 || chown(path.c_str(), owner, 0) == 0);
    if (!isOwned || chmod(path.c_str(), mode) != 0 || listen(socket.Get(), kWaiting) != 0) {
        Fail("cannot listen on " + path);
    }
    return socket;
}

uint16_t PortIn(const std::string& place, size_t colon) {
    uint16_t port = 0;
    const char* const end = place.data() + place.size();
    const auto [stop, error] = std::from_chars(place.data() + colon + 1, end, port);
    if (error != std::errc() || stop != end) {
        throw std::runtime_error("'" + place + "' has no port");
    }
    return port;
}

// Passwords pass here unencrypted, so only this machine may connect.
Address TcpAddress(const std::string& place) {
    const size_t colon = place.rfind(':');
    const std::string host = place.substr(0, colon);
    Address address{};
    if (colon != std::string::npos && host == "127.0.0.1") {
        address.inet.sin_family = AF_INET;
        address.inet.sin_port = htons(PortIn(place, colon));
        address.inet.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }
    if (colon != std::string::npos && host == "[::1]") {
        address.inet6.sin6_family = AF_INET6;
        address.inet6.sin6_port = htons(PortIn(place, colon));
        address.inet6.sin6_addr = in6addr_loopback;
        return address;
    }
    throw std::runtime_error(
        "the setting listen must be 127.0.0.1:PORT, [::1]:PORT or the path of a Unix socket, not "
        "'" +
        place + "': there is no TLS here, so no other machine may connect; a proxy may");
}

void CheckUnixSocket(const std::string& path, Findings& findings) {
    static_cast<void>(UnixAddress(path));
    struct stat status {};
    const std::string directory = path.substr(0, path.rfind('/') + 1);
    if (access(directory.c_str(), W_OK | X_OK) != 0) {
        findings.problems.push_back("cannot listen on " + path + ": " + std::strerror(errno));
    } else if (lstat(path.c_str(), &status) == 0 && !S_ISSOCK(status.st_mode)) {
        findings.problems.push_back("cannot listen on " + path + ": it is no socket");
    }
}

void CheckTcp(const std::string& place, Findings& findings) {
    if (BoundTo(TcpAddress(place))) {
        return;
    }
    if (errno == EADDRINUSE) {
        findings.hints.push_back(place +
                                 " is in use; by this service if it runs, else 'ss -ltnp' says by "
                                 "whom");
    } else {
        findings.problems.push_back("cannot listen on " + place + ": " + std::strerror(errno));
    }
}

}  // namespace

std::vector<Descriptor> Listen(const std::string& place) {
    const int passed = sd_listen_fds(1);
    if (passed < 0) {
        throw std::runtime_error("what systemd has passed cannot be understood");
    }
    std::vector<Descriptor> sockets;
    for (int i = 0; i < passed; ++i) {
        sockets.emplace_back(SD_LISTEN_FDS_START + i);
        if (sd_is_socket(sockets.back().Get(), AF_UNSPEC, SOCK_STREAM, 1) <= 0 ||
            fcntl(sockets.back().Get(), F_SETFL, O_NONBLOCK) != 0) {
            throw std::runtime_error("systemd has passed something that is no listening socket");
        }
    }
    if (sockets.empty()) {
        sockets.push_back(place.starts_with('/') ? ListenOnUnixSocket(place, kEverybody)
                                                 : ListenAt(TcpAddress(place), place));
    }
    return sockets;
}

Descriptor ListenForRoot(const std::string& path) {
    return ListenOnUnixSocket(path, kOwnerOnly);
}

Descriptor ListenForUser(const std::string& path, uid_t user) {
    return ListenOnUnixSocket(path, kOwnerOnly, user);
}

Findings CheckPlace(const std::string& place) {
    Findings findings;
    try {
        if (place.starts_with('/')) {
            CheckUnixSocket(place, findings);
        } else {
            CheckTcp(place, findings);
        }
    } catch (const std::runtime_error& error) {
        findings.problems.emplace_back(error.what());
    }
    return findings;
}

}  // namespace vellumo::web::supervisor

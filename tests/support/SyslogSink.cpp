// SPDX-License-Identifier: Apache-2.0
#include "SyslogSink.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <utility>

namespace vellumo::test {
namespace {

constexpr const char* kLogSocket = "/dev/log";
constexpr size_t kTimestampLength = sizeof("Nov 20 18:58:40 ") - 1;

// "<PRI>Mmm dd hh:mm:ss IDENT: TEXT", as the C library sends it.
LogMessage Parse(const std::string& datagram) {
    const size_t end = datagram.find('>');
    const int priority = std::atoi(datagram.c_str() + 1);
    const size_t text = datagram.find(": ", end + 1 + kTimestampLength);
    return {priority, datagram.substr(text + 2)};
}

}  // namespace

void PrintTo(const LogMessage& message, std::ostream* out) {
    *out << '<' << message.priority << "> " << message.text;
}

SyslogSink& SyslogSink::Get() {
    static SyslogSink sink;
    return sink;
}

SyslogSink::SyslogSink() : _socket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, kLogSocket, sizeof(address.sun_path) - 1);
    unlink(kLogSocket);
    if (bind(_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error(std::string("cannot listen on /dev/log: ") + strerror(errno));
    }
    chmod(kLogSocket, 0666);

    // The sanitizers hold locks of their own while a thread starts or allocates, and do not release
    // them in a forked child, which then waits for them for ever. So a fork waits while the
    // listener allocates, and the constructor waits until the listener has started.
    pthread_atfork([] { Get()._guard.lock(); }, [] { Get()._guard.unlock(); },
                   [] { Get()._guard.unlock(); });

    // The listener blocks all signals, because they are for the code under test.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    _listener = std::jthread([this](const std::stop_token& stop) { Listen(stop); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    _isListening.wait();
}

SyslogSink::~SyslogSink() {
    _listener.request_stop();
    shutdown(_socket, SHUT_RD);  // wakes the listener
    _listener.join();
    close(_socket);
}

void SyslogSink::Listen(const std::stop_token& stop) {
    _isListening.count_down();
    pollfd arrival{_socket, POLLIN, 0};
    while (!stop.stop_requested()) {
        // A change of ids interrupts every thread: the C library makes each thread change its own.
        if (poll(&arrival, 1, -1) < 0 && errno != EINTR) {
            return;
        }
        const std::scoped_lock lock(_guard);
        Collect();
    }
}

void SyslogSink::Collect() {
    std::array<char, 65536> buffer{};
    ssize_t length = 0;
    while ((length = recv(_socket, buffer.data(), buffer.size(), 0)) > 0) {
        _messages.push_back(Parse({buffer.data(), static_cast<size_t>(length)}));
    }
}

void SyslogSink::Clear() {
    Messages();
}

std::vector<LogMessage> SyslogSink::Messages() {
    const int error = errno;  // kept, because some tests check it next
    const std::scoped_lock lock(_guard);
    Collect();
    errno = error;
    return std::exchange(_messages, {});
}

std::vector<std::string> SyslogSink::Texts() {
    std::vector<std::string> texts;
    for (const LogMessage& message : Messages()) {
        texts.push_back(message.text);
    }
    return texts;
}

std::string Logged(const std::string& source, int line, const std::string& text) {
    return source + ":" + std::to_string(line) + " (" + std::to_string(getpid()) + ") " + text;
}

std::string LoggedWithError(const std::string& source, int line, const std::string& text,
                            int error) {
    return Logged(source, line, text) + " [err: " + strerror(error) + "]";
}

}  // namespace vellumo::test

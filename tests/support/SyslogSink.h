// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_SYSLOGSINK_H
#define VELLUMO_TESTS_SYSLOGSINK_H

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vellumo::test {

// One message as it arrived on /dev/log.
struct LogMessage {
    int priority;  // facility and level together
    std::string text;

    bool operator==(const LogMessage&) const = default;
};
void PrintTo(const LogMessage& message, std::ostream* out);

// The device view's /dev/log: collects what this process and its children log.
class SyslogSink {
public:
    // The one sink of the process, listening since the first call.
    static SyslogSink& Get();

    void Clear();

    // What has arrived since the last Clear or Messages.
    std::vector<LogMessage> Messages();

    // The texts alone.
    std::vector<std::string> Texts();

    SyslogSink(const SyslogSink&) = delete;
    SyslogSink& operator=(const SyslogSink&) = delete;

private:
    SyslogSink();
    ~SyslogSink();

    // A sender waits when the socket's queue is full, which on a common kernel it is at the
    // eleventh message: somebody must read while the test waits for those who log.
    void Listen(const std::stop_token& stop);
    void Collect();

    int _socket;
    std::mutex _guard;  // of _messages and of reading the socket, so that the order is kept
    std::vector<LogMessage> _messages;
    std::jthread _listener;
};

// "SOURCE:LINE (PID) TEXT" with this process's id, the common form of the library's messages.
std::string Logged(const std::string& source, int line, const std::string& text);

// The same with " [err: MESSAGE]" of `error` appended.
std::string LoggedWithError(const std::string& source, int line, const std::string& text,
                            int error);

}  // namespace vellumo::test

#endif

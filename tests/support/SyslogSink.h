// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_SYSLOGSINK_H
#define VELLUMO_TESTS_SYSLOGSINK_H

#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vellumo::test {

// A message that arrived on /dev/log.
struct LogMessage {
    int priority;  // facility and level together
    std::string text;

    bool operator==(const LogMessage&) const = default;
};
void PrintTo(const LogMessage& message, std::ostream* out);

// The device view's /dev/log: collects the messages of this process and its children.
class SyslogSink {
public:
    // The only sink of the process. It listens from the first call on.
    static SyslogSink& Get();

    void Clear();

    // Returns the messages that have arrived since the last Clear() or Messages().
    std::vector<LogMessage> Messages();

    // Returns only the texts of these messages.
    std::vector<std::string> Texts();

    SyslogSink(const SyslogSink&) = delete;
    SyslogSink& operator=(const SyslogSink&) = delete;

private:
    SyslogSink();
    ~SyslogSink();

    // A sender blocks when the socket's queue is full, with most kernels at the eleventh message.
    // So a thread must read while the test waits for processes that log.
    void Listen(const std::stop_token& stop);
    void Collect();

    int _socket;
    std::mutex _guard;  // guards _messages and reads of the socket, which keeps their order
    std::vector<LogMessage> _messages;
    std::latch _isListening{1};
    std::jthread _listener;
};

// "SOURCE:LINE (PID) TEXT" with this process's id, the common form of the library's messages.
std::string Logged(const std::string& source, int line, const std::string& text);

// The same with " [err: MESSAGE]" of `error` appended.
std::string LoggedWithError(const std::string& source, int line, const std::string& text,
                            int error);

}  // namespace vellumo::test

#endif

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_CONTROLSOCKET_H
#define VELLUMO_DAEMON_CONTROLSOCKET_H

#include <poll.h>

#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::daemon {

// Answers the questions of programs that root runs (loader/daemon/DaemonClient.h). Never blocks: a
// slow client costs a buffer, until it is dropped.
class ControlSocket {
public:
    // The answer to a question; nothing as long as it is not known yet. Called again at each
    // Serve() until it is.
    using Answerer = std::function<std::optional<std::string>(const std::string& question)>;

    // Throws loader::Failure when the socket cannot be created.
    explicit ControlSocket(Answerer answer);
    ~ControlSocket();
    ControlSocket(const ControlSocket&) = delete;
    ControlSocket& operator=(const ControlSocket&) = delete;

    // Does what can be done without waiting.
    void Serve();

    // Adds what becomes readable or writable when there is something to serve.
    void AddTo(std::vector<pollfd>& sources) const;

private:
    using Clock = std::chrono::steady_clock;

    struct Client {
        support::Descriptor socket;
        Clock::time_point begin = Clock::now();
        std::string question;  // read so far
        bool isAsked = false;  // the question is complete
        std::string answer;    // what is left to send
        bool isAnswered = false;
    };

    void Accept();
    bool Serve(Client& client) const;
    static bool Read(Client& client);
    static bool Send(Client& client);

    Answerer _answer;
    support::Descriptor _listening;
    std::list<Client> _clients;
};

}  // namespace vellumo::daemon

#endif

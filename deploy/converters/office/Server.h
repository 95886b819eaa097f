// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_SERVER_H
#define VELLUMO_OFFICE_SERVER_H

#include <chrono>
#include <filesystem>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Child.h"
#include "Kit.h"
#include "Pulse.h"
#include "Room.h"
#include "Settings.h"
#include "support/Descriptor.h"

namespace vellumo::office {

// Gives each caller a child, and watches the children: their time, memory and space, and whether
// the caller is still there. This process reads nothing that comes from a document but two
// short lines of text from its child.
class Server {
public:
    // Listens from now on. `readable` is the directory of the office's settings, which children may
    // read.
    Server(const Settings& settings, Home& home, std::string readable);

    // While the office starts: tells callers that they have to wait. Returns whether there are any.
    bool Greet();

    // The descriptors that this object has.
    std::vector<int> Files() const;

    // Serves with the office `context` until SIGTERM, or until the directory of the socket is
    // removed; returns the exit status of this process. An office that has not loaded everything
    // (`isWarm` is false) is replaced as soon as nobody has asked for a while.
    int Serve(const Context& context, bool isWarm);

private:
    using Clock = std::chrono::steady_clock;

    // A connection. It begins without a request, waits for a child, and then has one.
    struct Caller {
        support::Descriptor connection;
        Clock::time_point since = Clock::now();  // it has connected, or its child has got it
        Clock::time_point told = {};             // that it waits
        bool hasAsked = false;
        std::unique_ptr<Child> child;
        std::optional<Pulse> pulse;
        bool hasBegun = false;
    };
    using Callers = std::list<Caller>;

    void Wait();
    void Accept();
    void Hear();
    void Hear(Caller& caller);
    void AnswerState(const Caller& caller) const;
    void Assign();
    void KeepSpares();
    void WatchSpares();

    // These tell whether the caller is done with.
    bool IsOver(Caller& caller);
    static bool IsOverWithoutChild(const Caller& caller);
    bool IsOverWithChild(Caller& caller);
    static bool HasLeft(const Caller& caller);
    bool IsOverLimit(Caller& caller);

    static void TakeBack(Caller& caller);
    void LetGo(Caller& caller);
    void Finish(Caller& caller);
    void Tidy();
    size_t AtWork() const;
    bool MustRenew() const;

    const Settings& _settings;
    Context _context;
    Home& _home;
    std::string _readable;
    support::Descriptor _signals;
    support::Descriptor _listener;
    support::Descriptor _place;  // the directory of the socket
    Callers _callers;
    std::list<std::unique_ptr<Child>> _spares;
    std::list<std::unique_ptr<Child>> _ending;  // without a caller, killed, perhaps not yet gone
    Clock::time_point _tidied = Clock::now();
    Clock::time_point _nextFork = {};
    bool _isWarm = false;
    int _failures = 0;  // to make a child, in a row
    Clock::time_point _began = Clock::now();
    Clock::time_point _lastAsked = Clock::now();
    std::filesystem::file_time_type _fonts;
    size_t _documents = 0;
    std::optional<Clock::time_point> _lastSuccess;
};

}  // namespace vellumo::office

#endif

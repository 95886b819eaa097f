// SPDX-License-Identifier: Apache-2.0
#include "Server.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <utility>
#include <vector>

#include "Failure.h"
#include "Packets.h"
#include "Statuses.h"
#include "exchange/request.h"
#include "jail/rooms.h"
#include "support/Directory.h"

namespace vellumo::office {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::seconds;
using support::Descriptor;

constexpr milliseconds kLook(100);          // between looks at children at work
constexpr seconds kTidy(10);                // between looks at what may be left of others
constexpr seconds kSilence(1);              // that a caller may take for its request
constexpr milliseconds kTell(500);          // between answers to a caller that waits
constexpr milliseconds kStillAtFirst(300);  // that a child may stand still before it has begun
constexpr seconds kStill(3);                // and later, when it may wait for a timer of its own
constexpr milliseconds kForkPause(200);  // after a child that could not be made or has ended early
constexpr int kMostFailures = 25;        // to make a child; then another process tries
constexpr size_t kMostCallers = 64;
constexpr unsigned kPatience = 60;     // seconds after which SIGALRM ends a server that hangs
constexpr seconds kQuiet(60);          // without a caller, before this process is replaced
constexpr std::chrono::hours kAge(1);  // after which it is

// They change when fonts are installed.
constexpr const char* kFontPlaces[] = {"/usr/share/fonts", "/usr/local/share/fonts",
                                       "/var/cache/fontconfig"};

bool IsReadable(const Descriptor& file) {
    pollfd one{file.Get(), POLLIN, 0};
    return poll(&one, 1, 0) > 0;
}

bool Exists(const Descriptor& directory) {
    struct stat status {};
    return fstat(directory.Get(), &status) == 0 && status.st_nlink > 0;
}

fs::file_time_type FontsChanged() {
    fs::file_time_type last = fs::file_time_type::min();
    for (const char* place : kFontPlaces) {
        std::error_code error;
        const fs::file_time_type changed = fs::last_write_time(place, error);
        last = error ? last : std::max(last, changed);
    }
    return last;
}

Descriptor TakeSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return Descriptor(signalfd(-1, &ending, SFD_CLOEXEC));
}

Descriptor Listen(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw Failure(kCannotPreload, "the socket's path is too long: " + path);
    }
    path.copy(address.sun_path, path.size());
    std::error_code ignored;
    if (fs::create_directory(fs::path(path).parent_path(), ignored)) {
        fs::permissions(fs::path(path).parent_path(), fs::perms::owner_all, ignored);
    }
    unlink(path.c_str());
    Descriptor listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const mode_t mask = umask(S_IXUSR | S_IRWXG | S_IRWXO);
    const bool done =
        bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        listen(listener.Get(), kMostCallers) == 0;
    umask(mask);
    if (!done) {
        throw Failure(kPlaceIsGone, path + ": " + std::strerror(errno));
    }
    return listener;
}

// One line without control characters: the text comes from a child, which a document may have taken
// over.
std::string Harmless(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
    return text;
}

// The result for a document whose child was ended by this signal; empty when a caller should try an
// office of its own.
std::string ResultOfSignal(int signal) {
    return signal == SIGXFSZ ? std::to_string(kTakesTooMuchSpace) + " takes too much space" : "";
}

}  // namespace

Server::Server(const Settings& settings, Home& home, std::string readable)
    : _settings(settings),
      _home(home),
      _readable(std::move(readable)),
      _listener(Listen(settings.socket)),
      _place(support::OpenDirectory(fs::path(settings.socket).parent_path())),
      _fonts(FontsChanged()) {}

bool Server::Greet() {
    Accept();
    Hear();
    Assign();
    return std::any_of(_callers.begin(), _callers.end(),
                       [](const Caller& caller) { return caller.hasAsked; });
}

std::vector<int> Server::Files() const {
    std::vector<int> files{_listener.Get(), _place.Get(), _home.OwnFile()};
    for (const Caller& caller : _callers) {
        files.push_back(caller.connection.Get());
    }
    return files;
}

int Server::Serve(const Context& context, bool isWarm) {
    _context = context;
    _isWarm = isWarm;
    _signals = TakeSignals();
    Tidy();
    while (true) {
        alarm(kPatience);
        KeepSpares();
        Wait();
        if (IsReadable(_signals)) {
            unlink(_settings.socket.c_str());
            return 0;
        }
        Accept();
        Hear();
        Assign();
        _callers.remove_if([this](Caller& caller) { return IsOver(caller); });
        WatchSpares();
        _ending.remove_if(
            [](const std::unique_ptr<Child>& child) { return IsReadable(child->Ended()); });
        if (Clock::now() - _tidied > kTidy) {
            Tidy();
            if (MustRenew()) {
                return 0;
            }
        }
        if (!Exists(_place)) {
            return kPlaceIsGone;
        }
    }
}

// Returns when something happens, or when it is time to look after the children.
void Server::Wait() {
    const bool accepts = _callers.size() < kMostCallers;
    std::vector<pollfd> events{{_signals.Get(), POLLIN, 0},
                               {accepts ? _listener.Get() : -1, POLLIN, 0}};
    for (const Caller& caller : _callers) {
        const short asking = caller.hasAsked ? 0 : POLLIN;
        events.push_back({caller.connection.Get(), static_cast<short>(asking | POLLRDHUP), 0});
        if (caller.child) {
            events.push_back({caller.child->Ended().Get(), POLLIN, 0});
            const bool hears = !caller.hasBegun;
            events.push_back({hears ? caller.child->Reports().Get() : -1, POLLIN, 0});
        }
    }
    for (const auto* children : {&_spares, &_ending}) {
        for (const auto& child : *children) {
            events.push_back({child->Ended().Get(), POLLIN, 0});
        }
    }
    const milliseconds limit = _callers.empty() ? milliseconds(kTidy) : kLook;
    poll(events.data(), events.size(), static_cast<int>(limit.count()));
}

void Server::Accept() {
    while (_callers.size() < kMostCallers) {
        Descriptor connection(
            accept4(_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!connection) {
            return;
        }
        _callers.emplace_back();
        _callers.back().connection = std::move(connection);
    }
}

void Server::Hear() {
    for (Caller& caller : _callers) {
        Hear(caller);
    }
}

void Server::Hear(Caller& caller) {
    const std::string request = caller.hasAsked ? "" : Peek(caller.connection);
    if (request.empty()) {
        return;
    }
    if (request == REQUEST_STATE) {
        AnswerState(caller);
        Receive(caller.connection);
        return;
    }
    caller.hasAsked = true;
    _lastAsked = Clock::now();
}

void Server::AnswerState(const Caller& caller) const {
    std::string state = std::string(_context.is() ? "warm" : "starting") + ", documents " +
                        std::to_string(_documents) + ", at work " + std::to_string(AtWork());
    if (_lastSuccess) {
        const auto ago = std::chrono::duration_cast<seconds>(Clock::now() - *_lastSuccess);
        state += ", last success " + std::to_string(ago.count()) + " s ago";
    }
    Send(caller.connection, state);
}

size_t Server::AtWork() const {
    return static_cast<size_t>(std::count_if(
        _callers.begin(), _callers.end(), [](const Caller& one) { return one.child != nullptr; }));
}

// Gives each caller with a request a spare child, as long as there are some.
void Server::Assign() {
    for (Caller& caller : _callers) {
        if (!caller.hasAsked || caller.child) {
            continue;
        }
        if (!_spares.empty() && AtWork() < _settings.atOnce) {
            caller.child = std::move(_spares.front());
            _spares.pop_front();
            caller.since = Clock::now();
            caller.pulse.emplace(caller.child->Id());
            if (!caller.child->Give(caller.connection)) {
                caller.child.reset();
            }
            ++_documents;
            KeepSpares();
        } else if (Clock::now() - caller.told > kTell) {
            Send(caller.connection, ANSWER_QUEUED);
            caller.told = Clock::now();
        }
    }
}

void Server::KeepSpares() {
    while (_spares.size() < _settings.spares && Clock::now() >= _nextFork) {
        try {
            _spares.push_back(std::make_unique<Child>(_home, _context, _settings, _readable));
            _failures = 0;
        } catch (const Failure& failure) {
            if (++_failures > kMostFailures) {
                throw;
            }
            std::cerr << "vellumo-office: no child: " << failure.what() << '\n';
            _nextFork = Clock::now() + kForkPause;
        }
    }
}

// A spare child ends only when something is wrong.
void Server::WatchSpares() {
    _spares.remove_if([this](const std::unique_ptr<Child>& spare) {
        if (!IsReadable(spare->Ended())) {
            return false;
        }
        const Child::Ending ending = spare->Collect();
        std::cerr << "vellumo-office: a child has ended: signal " << ending.signal << ' '
                  << Harmless(ending.result) << '\n';
        _nextFork = Clock::now() + kForkPause;
        return true;
    });
}

bool Server::IsOver(Caller& caller) {
    return caller.child ? IsOverWithChild(caller) : IsOverWithoutChild(caller);
}

bool Server::HasLeft(const Caller& caller) {
    pollfd one{caller.connection.Get(), POLLRDHUP, 0};
    return poll(&one, 1, 0) > 0;
}

bool Server::IsOverWithoutChild(const Caller& caller) {
    const bool isSilent = !caller.hasAsked && Clock::now() - caller.since > kSilence;
    return isSilent || HasLeft(caller);
}

bool Server::IsOverWithChild(Caller& caller) {
    if (!caller.hasBegun && caller.child->HasBegun()) {
        caller.hasBegun = true;
        Send(caller.connection, ANSWER_BEGUN);
    }
    if (IsReadable(caller.child->Ended())) {
        Finish(caller);
        return true;
    }
    if (HasLeft(caller)) {
        LetGo(caller);
        return true;
    }
    if (caller.child->IsStopped() ||
        caller.pulse->Feel() > (caller.hasBegun ? Clock::duration(kStill) : kStillAtFirst)) {
        TakeBack(caller);
        return !caller.hasAsked;
    }
    return IsOverLimit(caller);
}

// Takes the caller from a child that stands still, and leaves it to another one if the child has
// not read the request.
void Server::TakeBack(Caller& caller) {
    caller.child.reset();
    caller.hasBegun = false;
    caller.hasAsked = !Peek(caller.connection).empty();
}

// The caller has left: it has got the PDF from the child, or was ended itself. Takes no time, so
// that the others do not wait until the kernel has freed the memory of a child.
void Server::LetGo(Caller& caller) {
    if (caller.child->HasSucceeded()) {
        _lastSuccess = Clock::now();
    }
    caller.child->Kill();
    _ending.push_back(std::move(caller.child));
}

bool Server::IsOverLimit(Caller& caller) {
    std::string result;
    if (Clock::now() - caller.since > _settings.deadline) {
        result = std::to_string(kTakesTooLong) + " takes too long";
    } else if (MemoryOf(caller.child->Id()) > _settings.memory) {
        result = std::to_string(kTakesTooMuchMemory) + " takes too much memory";
    } else if (caller.child->Place().Size() > _settings.space) {
        result = std::to_string(kTakesTooMuchSpace) + " takes too much space";
    }
    if (result.empty()) {
        return false;
    }
    caller.child.reset();  // before the caller goes on
    Send(caller.connection, result);
    return true;
}

void Server::Finish(Caller& caller) {
    const Child::Ending ending = caller.child->Collect();
    const std::string result =
        ending.result.empty() ? ResultOfSignal(ending.signal) : Harmless(ending.result);
    if (!result.empty()) {
        Send(caller.connection, result);
    }
    if (result.rfind("0 ", 0) == 0) {
        _lastSuccess = Clock::now();
    }
}

// All children have the memory layout and the fonts of this process. The next one starts while
// nobody waits.
bool Server::MustRenew() const {
    const Clock::time_point now = Clock::now();
    const bool isUsed = _documents > 0 && now - _began > kAge;
    return now - _lastAsked > kQuiet && (isUsed || !_isWarm || FontsChanged() != _fonts);
}

void Server::Tidy() {
    rooms_sweep(_settings.rooms.c_str(), _settings.users);
    _tidied = Clock::now();
}

}  // namespace vellumo::office

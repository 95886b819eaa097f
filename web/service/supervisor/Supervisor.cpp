// SPDX-License-Identifier: Apache-2.0
#include "supervisor/Supervisor.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <syslog.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>

#include "front/Front.h"
#include "login/Database.h"
#include "login/LoginHelper.h"
#include "proxy/ProxyReader.h"
#include "supervisor/Listening.h"
#include "worker/Capabilities.h"
#include "worker/Worker.h"

namespace vellumo::web::supervisor {
namespace {

using support::Descriptor;

constexpr size_t kLogins = 4;
constexpr size_t kProxyLogins = 2;  // without a password to check, each is quick
constexpr size_t kMostDeaths = 60;  // within kWithin
constexpr std::chrono::seconds kWithin{60};
constexpr std::chrono::seconds kStopLimit{5};
constexpr std::chrono::milliseconds kLookAgain{20};

sigset_t OwnSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) {
        sigaddset(&signals, signal);
    }
    return signals;
}

const char* NameOf(int role) {
    return front::Deaths::kRoles.at(static_cast<size_t>(role));
}

uid_t IdOf(const std::string& user) {
    const passwd* const account = getpwnam(user.c_str());
    if (account == nullptr) {
        throw std::runtime_error("there is no account '" + user + "'");
    }
    return account->pw_uid;
}

std::optional<uid_t> PeerOf(const Settings& settings) {
    return settings.proxyPeer.empty() ? std::nullopt : std::optional(IdOf(settings.proxyPeer));
}

message::Ends Queue() {
    message::Ends ends = message::MakeEnds();
    if (!ends.one) {
        throw std::runtime_error("cannot make a queue");
    }
    return ends;
}

// For what answers within milliseconds while somebody waits. The tools can take all processors for
// minutes. Without the right, this process waits for its turn like the others.
void AskForTimeFirst() {
    constexpr int kNiceness = -5;
    setpriority(PRIO_PROCESS, 0, kNiceness);
}

// Counters in memory that this process shares with those that it starts.
front::Deaths* SharedTally() {
    void* const memory = mmap(nullptr, sizeof(front::Deaths), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("cannot get memory");
    }
    return std::construct_at(static_cast<front::Deaths*>(memory));
}

}  // namespace

Supervisor::Supervisor(const Settings& settings)
    : _settings(settings),
      _frontUser(IdOf(settings.user)),
      _listening(Listen(settings.listen)),
      _quick(Queue()),
      _convert(Queue()),
      _login(Queue()),
      _proxyLogin(Queue()),
      _control(Queue()),
      _tally(SharedTally()) {
    if (_settings.statusSocket != "none") {
        _status = ListenForRoot(_settings.statusSocket);
    }
    if (_settings.proxyLogin != "none") {
        _proxy = ListenForUser(_settings.proxyLogin, *PeerOf(_settings));
    }
    OpenLog();
    const sigset_t signals = OwnSignals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    _signals = Descriptor(signalfd(-1, &signals, SFD_CLOEXEC));
}

void Supervisor::OpenLog() {
    constexpr mode_t kMode = 0640;
    if (_settings.accessLog == "none") {
        return;
    }
    const std::string& path = _settings.accessLog;
    Descriptor opened(
        path == "stderr"
            ? fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)
            : open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kMode));
    if (!opened) {
        throw std::runtime_error("cannot open the access log " + path + ": " +
                                 std::strerror(errno));
    }
    _accessLog = std::move(opened);
}

// After the file was moved away. On failure the old one stays in use.
void Supervisor::ReopenLog() {
    try {
        OpenLog();
        if (_accessLog) {
            message::Send(_control.one, "log", _accessLog.Get(), message::Wait::kReturnsAtOnce);
        }
    } catch (const std::runtime_error& error) {
        syslog(LOG_ERR, "%s", error.what());
    }
}

// The front reads the counters and can do nothing to them. It has nothing of what serves the
// proxy's logins: whoever takes it over can neither read such a request nor name a user.
void Supervisor::BeFront() {
    mprotect(_tally, sizeof(*_tally), PROT_READ);
    _control.one.Close();
    _proxy.Close();
    _proxyLogin = {};
    front::RunFront({_settings.user, _settings.page, _settings.isSecure, _settings.isForwarded,
                     _settings.convertWorkers, PeerOf(_settings), _tally},
                    {std::move(_listening), std::move(_quick.one), std::move(_convert.one),
                     std::move(_login.one), std::move(_status), std::move(_accessLog),
                     std::move(_control.other)});
}

void Supervisor::BeProxyReader() {
    mprotect(_tally, sizeof(*_tally), PROT_READ);
    support::Descriptor listening = std::move(_proxy);
    support::Descriptor queue = std::move(_proxyLogin.one);
    CloseOwnEnds();
    for (message::Ends* others : {&_quick, &_convert, &_login, &_proxyLogin}) {
        others->other.Close();
    }
    proxy::RunProxyReader({_settings.user, _settings.page, _settings.proxyUserHeader,
                           _settings.isSecure, _settings.isForwarded, *PeerOf(_settings)},
                          std::move(listening), std::move(queue));
}

int Supervisor::BeLogin(Role role) {
    const bool isByProxy = role == Role::kProxyLogin;
    worker::KeepOnly(worker::CapabilitiesForLogin());
    return login::ServeOneLogin(isByProxy ? _proxyLogin.other : _login.other,
                                {_frontUser, _settings.pamDirectory,
                                 isByProxy ? message::Kind::kProxyLogin : message::Kind::kLogin});
}

// What others use. Without the sending ends, a process sees when nobody can ask any more.
void Supervisor::CloseOwnEnds() {
    _listening.clear();
    _status.Close();
    _proxy.Close();
    _accessLog.Close();
    _control = {};
    for (message::Ends* queue : {&_quick, &_convert, &_login, &_proxyLogin}) {
        queue->one.Close();
    }
}

int Supervisor::Work(Role role) {
    if (role == Role::kFront) {
        BeFront();
    }
    if (role == Role::kProxyReader) {
        BeProxyReader();
    }
    CloseOwnEnds();
    if (IsLogin(role)) {
        return BeLogin(role);
    }
    const bool converts = role == Role::kConvert;
    return worker::ServeQuestions(converts ? _convert.other : _quick.other,
                                  {_frontUser, _settings.pamDirectory, converts});
}

void Supervisor::Be(Role role, pid_t supervisor) {
    const sigset_t signals = OwnSignals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    _signals.Close();
    prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
    if (getppid() != supervisor) {
        _exit(EXIT_FAILURE);  // it died before the line above
    }
    if (role == Role::kFront || role == Role::kQuick) {
        AskForTimeFirst();
    }
    int status = EXIT_FAILURE;
    try {
        status = Work(role);
    } catch (const std::exception& error) {
        syslog(LOG_ERR, "%s: %s", NameOf(static_cast<int>(role)), error.what());
    }
    _exit(status);
}

void Supervisor::Start(Role role) {
    const pid_t supervisor = getpid();
    const pid_t child = fork();
    if (child == 0) {
        Be(role, supervisor);
    }
    if (child > 0) {
        _children.emplace(child, role);
    } else {
        NoteDeath(role, 0);
    }
}

void Supervisor::NoteDeath(Role role, int status) {
    const auto now = Clock::now();
    while (!_deaths.empty() && _deaths.front() + kWithin < now) {
        _deaths.pop_front();
    }
    _deaths.push_back(now);
    ++_tally->count.at(static_cast<size_t>(role));
    syslog(LOG_WARNING, "the %s has died (%s %d); another one starts",
           NameOf(static_cast<int>(role)), WIFSIGNALED(status) ? "signal" : "status",
           WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
}

bool Supervisor::DieTooFast() const {
    return _deaths.size() > kMostDeaths;
}

void Supervisor::CollectDead() {
    int status = 0;
    for (pid_t dead = waitpid(-1, &status, WNOHANG); dead > 0;
         dead = waitpid(-1, &status, WNOHANG)) {
        const auto found = _children.find(dead);
        if (found == _children.end()) {
            continue;
        }
        const Role role = found->second;
        _children.erase(found);
        // A login ends its process.
        if (!IsLogin(role) || status != 0) {
            NoteDeath(role, status);
        }
        if (!DieTooFast()) {
            Start(role);
        }
    }
}

void Supervisor::StopAll() {
    for (const auto& child : _children) {
        kill(child.first, SIGTERM);
    }
    const auto limit = Clock::now() + kStopLimit;
    while (!_children.empty()) {
        const pid_t dead = waitpid(-1, nullptr, WNOHANG);
        if (dead > 0) {
            _children.erase(dead);
            continue;
        }
        if (Clock::now() > limit) {
            for (const auto& child : _children) {
                kill(child.first, SIGKILL);
            }
        }
        std::this_thread::sleep_for(kLookAgain);
    }
}

int Supervisor::Run() {
    // Makes the tables now: many processes that do it at once would be in each other's way.
    static_cast<void>(login::Database());
    Start(Role::kFront);
    const auto startAll = [this](Role role, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            Start(role);
        }
    };
    startAll(Role::kQuick, _settings.quickWorkers);
    startAll(Role::kConvert, _settings.convertWorkers);
    startAll(Role::kLogin, kLogins);
    if (_proxy) {
        Start(Role::kProxyReader);
        startAll(Role::kProxyLogin, kProxyLogins);
    }
    sd_notify(0, "READY=1\nSTATUS=Serving");
    const int status = Serve();
    sd_notify(0, "STOPPING=1");
    StopAll();
    return status;
}

// Returns the exit status when the service must stop.
int Supervisor::Serve() {
    for (;;) {
        signalfd_siginfo signal{};
        const ssize_t count =
            support::Uninterrupted([&] { return read(_signals.Get(), &signal, sizeof(signal)); });
        if (count > 0 && signal.ssi_signo == SIGHUP) {
            ReopenLog();
        } else if (count > 0 && signal.ssi_signo == SIGCHLD) {
            CollectDead();
            if (DieTooFast()) {
                return EXIT_FAILURE;
            }
        } else {
            return EXIT_SUCCESS;
        }
    }
}

}  // namespace vellumo::web::supervisor

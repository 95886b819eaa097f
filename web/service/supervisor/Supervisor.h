// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_SUPERVISOR_SUPERVISOR_H
#define VELLUMO_WEB_SUPERVISOR_SUPERVISOR_H

#include <sys/types.h>

#include <chrono>
#include <deque>
#include <map>
#include <vector>

#include "front/Statistics.h"
#include "message/Mail.h"
#include "supervisor/Settings.h"
#include "support/Descriptor.h"

namespace vellumo::web::supervisor {

// The first process of the service. It opens the sockets, starts the others and starts again what
// dies, and does nothing else, so there is little that could kill it. When it is killed itself, the
// kernel kills the others.
class Supervisor {
public:
    // Throws std::runtime_error when the sockets cannot be opened.
    explicit Supervisor(const Settings& settings);

    // Returns the exit status: success after SIGTERM or SIGINT, when all processes have ended;
    // failure when they die faster than it makes sense to start them again.
    int Run();

private:
    // As in front::Deaths::kRoles.
    enum class Role { kFront, kQuick, kConvert, kLogin, kProxyReader, kProxyLogin };
    using Clock = std::chrono::steady_clock;

    static bool IsLogin(Role role) { return role == Role::kLogin || role == Role::kProxyLogin; }
    void Start(Role role);
    [[noreturn]] void Be(Role role, pid_t supervisor);
    int Work(Role role);
    [[noreturn]] void BeFront();
    [[noreturn]] void BeProxyReader();
    int BeLogin(Role role);
    void CloseOwnEnds();
    void CollectDead();
    void NoteDeath(Role role, int status);
    bool DieTooFast() const;
    void StopAll();
    void OpenLog();
    void ReopenLog();
    int Serve();

    Settings _settings;
    uid_t _frontUser;
    std::vector<support::Descriptor> _listening;
    message::Ends _quick;  // one: the front's, other: the workers'
    message::Ends _convert;
    message::Ends _login;
    message::Ends _proxyLogin;  // one: the proxy reader's
    message::Ends _control;     // one: this process', other: the front's
    support::Descriptor _status;
    support::Descriptor _proxy;  // where the proxy connects for logins; empty: nowhere
    support::Descriptor _accessLog;
    front::Deaths* _tally;  // shared with all fronts
    support::Descriptor _signals;
    std::map<pid_t, Role> _children;
    std::deque<Clock::time_point> _deaths;  // of the last minute
};

}  // namespace vellumo::web::supervisor

#endif

// SPDX-License-Identifier: Apache-2.0
#include "front/Front.h"

#include <fcntl.h>
#include <syslog.h>

#include <csignal>
#include <deque>
#include <exception>
#include <stdexcept>

#include "front/AccessLog.h"
#include "front/Confinement.h"
#include "front/Door.h"
#include "front/SessionCookie.h"
#include "front/StatusDesk.h"
#include "support/Directory.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace vellumo::web::front {
namespace {

using support::Descriptor;

// Takes the new file of the access log each time that the supervisor sends one.
asio::awaitable<void> TakeNewLogs(asio::io_context& loop, Descriptor control, AccessLog& log) {
    asio::posix::stream_descriptor readable(loop, fcntl(control.Get(), F_DUPFD_CLOEXEC, 0));
    for (;;) {
        boost::system::error_code error;
        co_await readable.async_wait(asio::posix::stream_descriptor::wait_read,
                                     asio::redirect_error(asio::use_awaitable, error));
        auto mail = message::Receive(control, message::Wait::kReturnsAtOnce);
        if (mail) {
            log.Replace(std::move(mail->file));
        } else if (errno != EAGAIN) {
            co_return;  // the supervisor has ended, and this process will
        }
    }
}

// All of the process, in the order in which one part needs the others.
class Front {
public:
    Front(asio::io_context& loop, const StaticFiles& page, const FrontSettings& settings,
          FrontSockets sockets)
        : _settings(settings),
          _quick(loop, std::move(sockets.quick)),
          _convert(loop, std::move(sockets.convert)),
          _login(loop, std::move(sockets.login)),
          _jobs(loop, _convert, settings.converters),
          _router({page, _quick, _login, _jobs, settings.isSecure}),
          _log(std::move(sockets.accessLog), SessionCookieName(settings.isSecure)),
          _desk(_quick, [this] { return MetricsText(); }),
          _keeper(settings.isForwarded, settings.peer),
          _service{[this](const http::Request& request, const std::string& address) {
                       return _router.Answer(request, address);
                   },
                   [this](const Exchange& exchange) {
                       _statistics.Note(exchange);
                       _log.Note(exchange);
                   }},
          _status{[this](const http::Request& request, const std::string&) {
                      return _desk.Answer(request);
                  },
                  [](const Exchange&) {}} {
        for (Descriptor& listening : sockets.listening) {
            Spawn(loop, _doors.emplace_back(loop, _service, std::move(listening), _keeper).Keep());
        }
        if (sockets.status) {
            Spawn(loop, _doors.emplace_back(loop, _status, std::move(sockets.status), _statusKeeper)
                            .Keep());
        }
        Spawn(loop, TakeNewLogs(loop, std::move(sockets.control), _log));
    }

private:
    std::string MetricsText() const {
        return _statistics.Text(
            {_keeper.Count(), _jobs.CountOfWaiting(), _jobs.CountOfRunning(), _log.CountOfLost()},
            _settings.deaths);
    }

    const FrontSettings& _settings;
    Backend _quick;
    Backend _convert;
    Backend _login;
    Jobs _jobs;
    Router _router;
    AccessLog _log;
    Statistics _statistics;
    StatusDesk _desk;
    Doorkeeper _keeper;
    Doorkeeper _statusKeeper{false, std::nullopt};
    Connection::Service _service;
    Connection::Service _status;
    std::deque<Door> _doors;  // does not move what is in it
};

}  // namespace

void RunFront(const FrontSettings& settings, FrontSockets sockets) {
    static_cast<void>(signal(SIGPIPE, SIG_IGN));  // sendfile has no flag against it
    openlog("vellumo-web", LOG_PID | LOG_NDELAY, LOG_DAEMON);
    const Descriptor directory = support::OpenDirectory(settings.page);
    const StaticFiles page(directory);
    asio::io_context loop(1);
    Confine(settings.user, directory);
    const Front front(loop, page, settings, std::move(sockets));
    loop.run();
    throw std::runtime_error("the door has closed");  // another front opens it again
}

}  // namespace vellumo::web::front

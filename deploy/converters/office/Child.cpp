// SPDX-License-Identifier: Apache-2.0
#include "Child.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include <sys/pidfd.h>  // glibc 2.36 has it for C alone
}

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include "Failure.h"
#include "Inherited.h"
#include "Jail.h"
#include "Packets.h"
#include "Statuses.h"
#include "Work.h"
#include "support/ChildProcess.h"

namespace vellumo::office {
namespace {

using support::Descriptor;

constexpr size_t kLongestReport = 1024;
constexpr char kBegun[] = "A\n";

[[noreturn]] void Fail(const char* what) {
    throw Failure(kOfficeFailed, std::string(what) + ": " + std::strerror(errno));
}

struct SocketPair {
    Descriptor parents;
    Descriptor childs;
};

SocketPair MakeSocketPair() {
    std::array<int, 2> ends{-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        Fail("no socket");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

void ResetSignals() {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // The kernel ends this process at its limit of space.
    std::signal(SIGXFSZ, SIG_DFL);
}

}  // namespace

Child::Child(Home& home, const Context& context, const Settings& settings,
             const std::string& readable)
    : _room(std::make_unique<Room>(home)) {
    SocketPair handover = MakeSocketPair();
    support::Pipe reports = support::MakePipe();
    if (!reports.reading || fcntl(reports.reading.Get(), F_SETFL, O_NONBLOCK) != 0) {
        Fail("no pipe");
    }
    _id = fork();
    if (_id == 0) {
        CloseOwnFiles({handover.childs.Get(), reports.writing.Get()});
        ResetSignals();
        setsid();
        prctl(PR_SET_NAME, "office-spare");
        Kit::LeaveParent();
        try {
            EnterJail(*_room, readable, settings.space);
            Work(context, *_room, std::move(handover.childs), reports.writing);
        } catch (const std::exception& error) {
            dprintf(reports.writing.Get(), "%d %s\n", kOfficeFailed, error.what());
        }
        _exit(kOfficeFailed);
    }
    if (_id < 0) {
        Fail("no process");
    }
    _handover = std::move(handover.parents);
    _reports = std::move(reports.reading);
    _handle = Descriptor(pidfd_open(_id, 0));
    if (!_handle) {
        End();
        Fail("no handle of a process");
    }
}

Child::~Child() {
    if (_id > 0) {
        End();
    }
}

void Child::Kill() const {
    kill(_id, SIGKILL);
}

void Child::End() const {
    Kill();
    int status = 0;
    support::WaitForEnd(_id, status);
}

bool Child::Give(const Descriptor& connection) const {
    return Send(_handover, "caller", connection.Get());
}

void Child::ReadReports() {
    std::array<char, kLongestReport> data{};
    ssize_t length = 0;
    while (_said.size() < kLongestReport &&
           (length = read(_reports.Get(), data.data(), data.size())) > 0) {
        _said.append(data.data(), static_cast<size_t>(length));
    }
}

bool Child::HasBegun() {
    ReadReports();
    return _said.rfind(kBegun, 0) == 0;
}

bool Child::HasSucceeded() {
    ReadReports();
    return Result().rfind("0 ", 0) == 0;
}

bool Child::IsStopped() const {
    siginfo_t state{};
    return waitid(P_PID, static_cast<id_t>(_id), &state, WSTOPPED | WNOHANG | WNOWAIT) == 0 &&
           state.si_pid == _id;
}

Child::Ending Child::Collect() {
    int status = 0;
    support::WaitForEnd(std::exchange(_id, -1), status);
    ReadReports();
    return {WIFEXITED(status) ? Result() : "", WIFSIGNALED(status) ? WTERMSIG(status) : 0};
}

std::string Child::Result() const {
    const size_t at = _said.rfind(kBegun, 0) == 0 ? std::strlen(kBegun) : 0;
    return _said.substr(at, _said.find('\n', at) - at);
}

}  // namespace vellumo::office

// SPDX-License-Identifier: Apache-2.0
#include "front/Confinement.h"

#include <grp.h>
#include <pwd.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace vellumo::web::front {
namespace {

constexpr rlim_t kMostFiles = 8192;

void Require(bool isDone, const std::string& what) {
    if (!isDone) {
        throw std::runtime_error("cannot " + what + ": " + std::strerror(errno));
    }
}

// What Asio, the allocator and messages need. No call that opens, starts or connects anything.
constexpr std::array kCalls{SCMP_SYS(read),           SCMP_SYS(write),
                            SCMP_SYS(readv),          SCMP_SYS(writev),
                            SCMP_SYS(pread64),        SCMP_SYS(close),
                            SCMP_SYS(fstat),          SCMP_SYS(newfstatat),
                            SCMP_SYS(lseek),          SCMP_SYS(sendfile),
                            SCMP_SYS(accept4),        SCMP_SYS(socketpair),
                            SCMP_SYS(sendmsg),        SCMP_SYS(recvmsg),
                            SCMP_SYS(sendto),         SCMP_SYS(recvfrom),
                            SCMP_SYS(shutdown),       SCMP_SYS(getsockopt),
                            SCMP_SYS(setsockopt),     SCMP_SYS(getsockname),
                            SCMP_SYS(getpeername),    SCMP_SYS(ioctl),
                            SCMP_SYS(fcntl),          SCMP_SYS(epoll_create1),
                            SCMP_SYS(epoll_ctl),      SCMP_SYS(epoll_wait),
                            SCMP_SYS(epoll_pwait),    SCMP_SYS(poll),
                            SCMP_SYS(ppoll),          SCMP_SYS(eventfd2),
                            SCMP_SYS(timerfd_create), SCMP_SYS(timerfd_settime),
                            SCMP_SYS(munmap),         SCMP_SYS(mremap),
                            SCMP_SYS(madvise),        SCMP_SYS(brk),
                            SCMP_SYS(futex),          SCMP_SYS(sched_yield),
                            SCMP_SYS(clock_gettime),  SCMP_SYS(clock_nanosleep),
                            SCMP_SYS(nanosleep),      SCMP_SYS(gettimeofday),
                            SCMP_SYS(time),           SCMP_SYS(getrandom),
                            SCMP_SYS(getpid),         SCMP_SYS(gettid),
                            SCMP_SYS(getuid),         SCMP_SYS(geteuid),
                            SCMP_SYS(tgkill),         SCMP_SYS(rt_sigaction),
                            SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn),
                            SCMP_SYS(sigaltstack),    SCMP_SYS(restart_syscall),
                            SCMP_SYS(exit),           SCMP_SYS(exit_group)};

// A build with sanitizers tries with a pipe whether it can read the memory of an object that it
// checks. Without a pipe, it takes the object for a wrong one.
#ifdef __SANITIZE_ADDRESS__
constexpr std::array kCallsOfBuild{SCMP_SYS(pipe), SCMP_SYS(pipe2)};
#else
constexpr std::array<int, 0> kCallsOfBuild{};
#endif

void FilterCalls() {
    const std::unique_ptr<void, decltype(&seccomp_release)> filter(
        seccomp_init(SCMP_ACT_ERRNO(EPERM)), seccomp_release);
    bool isGood = filter != nullptr;
    for (const int call : kCalls) {
        isGood = isGood && seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 0) == 0;
    }
    for (const int call : kCallsOfBuild) {
        isGood = isGood && seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 0) == 0;
    }
    // Memory, but none in which code could be put.
    for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mprotect)}) {
        isGood = isGood && seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 1,
                                            SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0)) == 0;
    }
    Require(isGood && seccomp_load(filter.get()) == 0, "limit the system calls");
}

}  // namespace

void Confine(const std::string& user, const support::Descriptor& root) {
    const passwd* const account = getpwnam(user.c_str());
    Require(account != nullptr && account->pw_uid != 0, "find an unprivileged user " + user);
    const uid_t id = account->pw_uid;
    const gid_t group = account->pw_gid;
    const rlimit files{kMostFiles, kMostFiles};
    setrlimit(RLIMIT_NOFILE, &files);  // fewer files mean fewer connections, and no more
    Require(fchdir(root.Get()) == 0 && chroot(".") == 0 && chdir("/") == 0, "leave the root");
    Require(setgroups(0, nullptr) == 0 && setresgid(group, group, group) == 0 &&
                setresuid(id, id, id) == 0,
            "become " + user);
    Require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) == 0,
            "give up rights");
    // A change of the user forgets it.
    Require(prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) == 0, "end with the supervisor");
    FilterCalls();
}

}  // namespace vellumo::web::front

// SPDX-License-Identifier: Apache-2.0
#include "CallFilter.h"

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "Failure.h"
#include "Statuses.h"

namespace vellumo::office {
namespace {

constexpr int kAllowedCalls[] = {
    // Files and directories.
    SCMP_SYS(read), SCMP_SYS(write), SCMP_SYS(readv), SCMP_SYS(writev), SCMP_SYS(pread64),
    SCMP_SYS(pwrite64), SCMP_SYS(preadv), SCMP_SYS(pwritev), SCMP_SYS(open), SCMP_SYS(openat),
    SCMP_SYS(creat), SCMP_SYS(close), SCMP_SYS(close_range), SCMP_SYS(lseek), SCMP_SYS(stat),
    SCMP_SYS(fstat), SCMP_SYS(lstat), SCMP_SYS(newfstatat), SCMP_SYS(statx), SCMP_SYS(statfs),
    SCMP_SYS(fstatfs), SCMP_SYS(access), SCMP_SYS(faccessat), SCMP_SYS(faccessat2),
    SCMP_SYS(getdents), SCMP_SYS(getdents64), SCMP_SYS(readlink), SCMP_SYS(readlinkat),
    SCMP_SYS(getcwd), SCMP_SYS(chdir), SCMP_SYS(fchdir), SCMP_SYS(mkdir), SCMP_SYS(mkdirat),
    SCMP_SYS(rmdir), SCMP_SYS(unlink), SCMP_SYS(unlinkat), SCMP_SYS(rename), SCMP_SYS(renameat),
    SCMP_SYS(renameat2), SCMP_SYS(link), SCMP_SYS(linkat), SCMP_SYS(symlink), SCMP_SYS(symlinkat),
    SCMP_SYS(chmod), SCMP_SYS(fchmod), SCMP_SYS(fchmodat), SCMP_SYS(umask), SCMP_SYS(truncate),
    SCMP_SYS(ftruncate), SCMP_SYS(fallocate), SCMP_SYS(fsync), SCMP_SYS(fdatasync),
    SCMP_SYS(fadvise64), SCMP_SYS(readahead), SCMP_SYS(sendfile), SCMP_SYS(copy_file_range),
    SCMP_SYS(utime), SCMP_SYS(utimes), SCMP_SYS(utimensat), SCMP_SYS(futimesat), SCMP_SYS(flock),
    SCMP_SYS(dup), SCMP_SYS(dup2), SCMP_SYS(dup3), SCMP_SYS(pipe), SCMP_SYS(pipe2), SCMP_SYS(poll),
    SCMP_SYS(ppoll), SCMP_SYS(select), SCMP_SYS(pselect6), SCMP_SYS(epoll_create1),
    SCMP_SYS(epoll_ctl), SCMP_SYS(epoll_wait), SCMP_SYS(epoll_pwait), SCMP_SYS(eventfd2),
    // Memory.
    SCMP_SYS(brk), SCMP_SYS(mmap), SCMP_SYS(munmap), SCMP_SYS(mremap), SCMP_SYS(mprotect),
    SCMP_SYS(madvise), SCMP_SYS(msync), SCMP_SYS(mincore), SCMP_SYS(membarrier),
    // Threads of this process.
    SCMP_SYS(futex), SCMP_SYS(set_robust_list), SCMP_SYS(get_robust_list), SCMP_SYS(rseq),
    SCMP_SYS(set_tid_address), SCMP_SYS(sched_yield), SCMP_SYS(sched_getaffinity),
    SCMP_SYS(sched_getparam), SCMP_SYS(sched_getscheduler), SCMP_SYS(sched_get_priority_max),
    SCMP_SYS(sched_get_priority_min), SCMP_SYS(getpriority), SCMP_SYS(arch_prctl), SCMP_SYS(exit),
    SCMP_SYS(exit_group), SCMP_SYS(restart_syscall),
    // Signals to itself; see AllowOwnSignals().
    SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn),
    SCMP_SYS(rt_sigpending), SCMP_SYS(rt_sigtimedwait), SCMP_SYS(rt_sigsuspend),
    SCMP_SYS(sigaltstack),
    // Time.
    SCMP_SYS(clock_gettime), SCMP_SYS(clock_getres), SCMP_SYS(clock_nanosleep), SCMP_SYS(nanosleep),
    SCMP_SYS(gettimeofday), SCMP_SYS(time), SCMP_SYS(times), SCMP_SYS(timerfd_create),
    SCMP_SYS(timerfd_settime), SCMP_SYS(timerfd_gettime),
    // What it is and where it runs.
    SCMP_SYS(getpid), SCMP_SYS(gettid), SCMP_SYS(getppid), SCMP_SYS(getuid), SCMP_SYS(geteuid),
    SCMP_SYS(getgid), SCMP_SYS(getegid), SCMP_SYS(getresuid), SCMP_SYS(getresgid),
    SCMP_SYS(getgroups), SCMP_SYS(getpgrp), SCMP_SYS(getpgid), SCMP_SYS(getsid),
    SCMP_SYS(getrlimit), SCMP_SYS(getrusage), SCMP_SYS(getcpu), SCMP_SYS(sysinfo), SCMP_SYS(uname),
    SCMP_SYS(getrandom),
    // Only with the sockets that it has: of a child with a document, the one to its caller.
    SCMP_SYS(recvmsg), SCMP_SYS(sendmsg)};

constexpr int kToProcess[] = {SCMP_SYS(kill), SCMP_SYS(tgkill), SCMP_SYS(rt_sigqueueinfo),
                              SCMP_SYS(rt_tgsigqueueinfo)};

// Not those by which a file sends signals to other processes.
constexpr int kFileCommands[] = {F_DUPFD,  F_DUPFD_CLOEXEC, F_GETFD,     F_SETFD,
                                 F_GETFL,  F_SETFL,         F_GETLK,     F_SETLK,
                                 F_SETLKW, F_OFD_GETLK,     F_OFD_SETLK, F_OFD_SETLKW};
// Nothing that changes a terminal or another device.
constexpr int kDeviceCommands[] = {TCGETS, TIOCGWINSZ, FIONREAD, FIONBIO, FIOCLEX};

constexpr unsigned kThread = CLONE_VM | CLONE_THREAD;

using Context = std::unique_ptr<void, decltype(&seccomp_release)>;

// Also true for a call that this architecture does not have (EDOM).
bool Allow(const Context& filter, int call) {
    const int result = seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 0);
    return result == 0 || result == -EDOM;
}

// Allows the call when its argument with this number has one of these values.
template <size_t kCount>
bool AllowWith(const Context& filter, int call, unsigned argument, const int (&values)[kCount]) {
    bool done = true;
    for (const int value : values) {
        done = done && seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 1,
                                        SCMP_CMP(argument, SCMP_CMP_EQ,
                                                 static_cast<scmp_datum_t>(value), 0)) == 0;
    }
    return done;
}

bool AllowOwnSignals(const Context& filter) {
    bool done = true;
    for (const int call : kToProcess) {
        done = done && AllowWith(filter, call, 0, {getpid()});
    }
    return done;
}

bool AllowThreads(const Context& filter) {
    // A filter cannot see the flags of clone3, which are in memory. With ENOSYS, the C library
    // falls back to clone.
    return seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, SCMP_SYS(clone), 1,
                            SCMP_A0(SCMP_CMP_MASKED_EQ, kThread, kThread)) == 0 &&
           seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), 0) == 0;
}

// The C library reads limits with prlimit64; 0 is this process.
bool AllowOwnState(const Context& filter) {
    return AllowWith(filter, SCMP_SYS(prlimit64), 0, {0}) &&
           AllowWith(filter, SCMP_SYS(prctl), 0,
                     {PR_SET_NAME, PR_GET_NAME, PR_GET_DUMPABLE, PR_SET_VMA});
}

bool AllowCommands(const Context& filter) {
    return AllowWith(filter, SCMP_SYS(fcntl), 1, kFileCommands) &&
           AllowWith(filter, SCMP_SYS(ioctl), 1, kDeviceCommands);
}

bool Fill(const Context& filter) {
    bool done = filter != nullptr;
    for (const int call : kAllowedCalls) {
        done = done && Allow(filter, call);
    }
    return done && AllowOwnSignals(filter) && AllowThreads(filter) && AllowOwnState(filter) &&
           AllowCommands(filter);
}

}  // namespace

void FilterCalls() {
    const Context filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)), seccomp_release);
    if (!Fill(filter) || seccomp_load(filter.get()) != 0) {
        throw Failure(kOfficeFailed, "cannot filter system calls");
    }
}

}  // namespace vellumo::office

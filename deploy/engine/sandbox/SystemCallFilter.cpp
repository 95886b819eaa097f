// SPDX-License-Identifier: Apache-2.0
#include "sandbox/SystemCallFilter.h"

#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "Failure.h"

namespace vellumo::engine {
namespace {

constexpr int kRefusedCalls[] = {
    // Mounts, and leaving the sandbox's namespaces for others.
    SCMP_SYS(mount), SCMP_SYS(umount), SCMP_SYS(umount2), SCMP_SYS(pivot_root), SCMP_SYS(chroot),
    SCMP_SYS(open_tree), SCMP_SYS(move_mount), SCMP_SYS(fsopen), SCMP_SYS(fsconfig),
    SCMP_SYS(fsmount), SCMP_SYS(fspick), SCMP_SYS(mount_setattr), SCMP_SYS(unshare),
    SCMP_SYS(setns), SCMP_SYS(open_by_handle_at),
    // Other processes' memory and descriptors.
    SCMP_SYS(ptrace), SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev),
    SCMP_SYS(pidfd_getfd), SCMP_SYS(kcmp),
    // The kernel's internal interfaces.
    SCMP_SYS(bpf), SCMP_SYS(perf_event_open), SCMP_SYS(userfaultfd), SCMP_SYS(io_uring_setup),
    SCMP_SYS(io_uring_enter), SCMP_SYS(io_uring_register), SCMP_SYS(keyctl), SCMP_SYS(add_key),
    SCMP_SYS(request_key), SCMP_SYS(modify_ldt), SCMP_SYS(vmsplice), SCMP_SYS(fanotify_init),
    // The machine itself.
    SCMP_SYS(init_module), SCMP_SYS(finit_module), SCMP_SYS(delete_module), SCMP_SYS(kexec_load),
    SCMP_SYS(kexec_file_load), SCMP_SYS(reboot), SCMP_SYS(swapon), SCMP_SYS(swapoff),
    SCMP_SYS(quotactl), SCMP_SYS(quotactl_fd), SCMP_SYS(acct), SCMP_SYS(syslog),
    SCMP_SYS(settimeofday), SCMP_SYS(clock_settime), SCMP_SYS(clock_adjtime), SCMP_SYS(adjtimex),
    SCMP_SYS(iopl), SCMP_SYS(ioperm), SCMP_SYS(lookup_dcookie)};

constexpr unsigned kNewNamespaces[] = {CLONE_NEWNS,   CLONE_NEWCGROUP, CLONE_NEWUTS, CLONE_NEWIPC,
                                       CLONE_NEWUSER, CLONE_NEWPID,    CLONE_NEWNET};

using Context = std::unique_ptr<void, decltype(&seccomp_release)>;

// Also true for a call that libseccomp does not know on this architecture (EDOM).
bool Refuse(const Context& filter, int call) {
    const int result = seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EPERM), call, 0);
    return result == 0 || result == -EDOM;
}

bool RefuseNamespaces(const Context& filter) {
    bool done = true;
    for (const unsigned flag : kNewNamespaces) {
        done = done && seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EPERM), SCMP_SYS(clone), 1,
                                        SCMP_A0(SCMP_CMP_MASKED_EQ, flag, flag)) == 0;
    }
    // A filter cannot see the flags of clone3, which are in memory. With ENOSYS, programs fall back
    // to clone.
    return done && seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), 0) == 0;
}

// Allows only the families up to netlink, which programs use to look up interfaces. The families
// after it give access to raw packets, to a virtual machine's host and to the kernel's ciphers.
bool RefuseSockets(const Context& filter) {
    return seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EAFNOSUPPORT), SCMP_SYS(socket), 1,
                            SCMP_A0(SCMP_CMP_GT, AF_NETLINK)) == 0;
}

bool Fill(const Context& filter) {
    bool done = filter != nullptr;
    for (const int call : kRefusedCalls) {
        done = done && Refuse(filter, call);
    }
    return done && RefuseNamespaces(filter) && RefuseSockets(filter);
}

}  // namespace

SystemCallFilter::SystemCallFilter() : _file(memfd_create("filter", MFD_CLOEXEC)) {
    const Context filter(seccomp_init(SCMP_ACT_ALLOW), seccomp_release);
    if (!_file || !Fill(filter) || seccomp_export_bpf(filter.get(), _file.Get()) != 0 ||
        lseek(_file.Get(), 0, SEEK_SET) != 0) {
        throw Failure(kEngineFailed,
                      "cannot make the filter of system calls; check free memory and libseccomp");
    }
}

}  // namespace vellumo::engine

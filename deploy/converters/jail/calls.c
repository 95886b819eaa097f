// SPDX-License-Identifier: Apache-2.0
#include "jail/calls.h"

#include <errno.h>
#include <sched.h>
#include <seccomp.h>
#include <stdbool.h>
#include <stddef.h>
#include <sys/socket.h>

// Of these, a call of this architecture that it does not have is left out.
static const int REFUSED[] = {
    // Mounts, and leaving the sandbox's namespaces for others.
    SCMP_SYS(mount), SCMP_SYS(umount), SCMP_SYS(umount2), SCMP_SYS(pivot_root), SCMP_SYS(chroot),
    SCMP_SYS(open_tree), SCMP_SYS(move_mount), SCMP_SYS(fsopen), SCMP_SYS(fsconfig),
    SCMP_SYS(fsmount), SCMP_SYS(fspick), SCMP_SYS(mount_setattr), SCMP_SYS(unshare),
    SCMP_SYS(setns), SCMP_SYS(open_by_handle_at),
    // Other processes' memory and descriptors.
    SCMP_SYS(ptrace), SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev),
    SCMP_SYS(pidfd_getfd), SCMP_SYS(kcmp),
    // The kernel's internal interfaces. Those of io_uring can also make sockets.
    SCMP_SYS(bpf), SCMP_SYS(perf_event_open), SCMP_SYS(userfaultfd), SCMP_SYS(io_uring_setup),
    SCMP_SYS(io_uring_enter), SCMP_SYS(io_uring_register), SCMP_SYS(keyctl), SCMP_SYS(add_key),
    SCMP_SYS(request_key), SCMP_SYS(modify_ldt), SCMP_SYS(vmsplice), SCMP_SYS(fanotify_init),
    // The machine itself.
    SCMP_SYS(init_module), SCMP_SYS(finit_module), SCMP_SYS(delete_module), SCMP_SYS(kexec_load),
    SCMP_SYS(kexec_file_load), SCMP_SYS(reboot), SCMP_SYS(swapon), SCMP_SYS(swapoff),
    SCMP_SYS(quotactl), SCMP_SYS(quotactl_fd), SCMP_SYS(acct), SCMP_SYS(syslog),
    SCMP_SYS(settimeofday), SCMP_SYS(clock_settime), SCMP_SYS(clock_adjtime), SCMP_SYS(adjtimex),
    SCMP_SYS(iopl), SCMP_SYS(ioperm), SCMP_SYS(lookup_dcookie),
    // Memory and queues that outlive the program.
    SCMP_SYS(shmget), SCMP_SYS(msgget), SCMP_SYS(semget), SCMP_SYS(mq_open)};

static const unsigned NAMESPACES[] = {CLONE_NEWNS,   CLONE_NEWCGROUP, CLONE_NEWUTS, CLONE_NEWIPC,
                                      CLONE_NEWUSER, CLONE_NEWPID,    CLONE_NEWNET};

static bool refuse(scmp_filter_ctx filter, int call) {
    const int result = seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), call, 0);
    return result == 0 || result == -EDOM;
}

static bool refuse_calls(scmp_filter_ctx filter) {
    for (size_t i = 0; i < sizeof REFUSED / sizeof *REFUSED; ++i) {
        if (!refuse(filter, REFUSED[i])) {
            return false;
        }
    }
    return true;
}

// A filter cannot see the flags of clone3, which are in memory. With ENOSYS, programs fall back to
// clone.
static bool refuse_namespaces(scmp_filter_ctx filter) {
    for (size_t i = 0; i < sizeof NAMESPACES / sizeof *NAMESPACES; ++i) {
        if (seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), SCMP_SYS(clone), 1,
                             SCMP_A0(SCMP_CMP_MASKED_EQ, NAMESPACES[i], NAMESPACES[i])) != 0) {
            return false;
        }
    }
    return seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), 0) == 0;
}

// The tools talk only to their own processes.
static bool refuse_sockets(scmp_filter_ctx filter) {
    const struct scmp_arg_cmp other = SCMP_A0(SCMP_CMP_NE, AF_UNIX);
    return seccomp_rule_add(filter, SCMP_ACT_ERRNO(EAFNOSUPPORT), SCMP_SYS(socket), 1, other) ==
               0 &&
           seccomp_rule_add(filter, SCMP_ACT_ERRNO(EAFNOSUPPORT), SCMP_SYS(socketpair), 1, other) ==
               0;
}

static scmp_filter_ctx make(void) {
    scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    if (filter != NULL &&
        (!refuse_calls(filter) || !refuse_namespaces(filter) || !refuse_sockets(filter))) {
        seccomp_release(filter);
        filter = NULL;
    }
    return filter;
}

// Releases the filter; null is an error too.
static int ended(scmp_filter_ctx filter, int result) {
    if (filter != NULL) {
        seccomp_release(filter);
    }
    return filter != NULL && result == 0 ? 0 : -1;
}

int calls_filter(void) {
    scmp_filter_ctx filter = make();
    return ended(filter, filter != NULL ? seccomp_load(filter) : -1);
}

int calls_export(int file) {
    scmp_filter_ctx filter = make();
    return ended(filter, filter != NULL ? seccomp_export_bpf(filter, file) : -1);
}

// SPDX-License-Identifier: Apache-2.0
#include "Jail.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>

#include "CallFilter.h"
#include "Failure.h"
#include "Statuses.h"
#include "jail/files.h"
#include "support/Descriptor.h"

namespace vellumo::office {
namespace {

using support::Descriptor;

// The kernel counts those of the user id in all containers of the machine.
constexpr rlim_t kThreads = 1024;

[[noreturn]] void Fail(const char* what) {
    throw Failure(kOfficeFailed, std::string(what) + ": " + std::strerror(errno));
}

void Limit(__rlimit_resource what, rlim_t most) {
    const rlimit limit{most, most};
    if (setrlimit(what, &limit) != 0) {
        Fail("no limit of resources");
    }
}

// At the memory limit of the container, the kernel ends this process and no other.
void OfferToMemoryLimit() {
    const Descriptor file(open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC));
    static_cast<void>(!write(file.Get(), "500", 3));
}

void ConfineFiles(const std::string& room, const std::string& readable) {
    const files_place places[] = {{room.c_str(), FILES_WRITE}, {readable.c_str(), FILES_READ}};
    if (files_confine(places, std::size(places)) != 0) {
        Fail("Landlock");
    }
}

void Become(uid_t user) {
    if (user != geteuid() && (setgroups(0, nullptr) != 0 || setresgid(user, user, user) != 0 ||
                              setresuid(user, user, user) != 0)) {
        Fail("cannot become another user");
    }
}

// A root of a user namespace keeps its capabilities in Become().
void DropCapabilities() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3]{};
    if (syscall(SYS_capset, &header, none) != 0) {
        Fail("cannot drop capabilities");
    }
}

void EndWithParent(pid_t parent) {
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) {
        _exit(kOfficeFailed);
    }
}

}  // namespace

void EnterJail(const Room& room, const std::string& readable, size_t space) {
    const pid_t parent = getppid();
    OfferToMemoryLimit();
    Limit(RLIMIT_CORE, 0);
    Limit(RLIMIT_FSIZE, space);
    if (room.Owner() != geteuid()) {
        Limit(RLIMIT_NPROC, kThreads);
    }
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        Fail("no_new_privs");
    }
    ConfineFiles(room.Path(), readable);
    Become(room.Owner());
    DropCapabilities();
    EndWithParent(parent);  // after Become(), which would cancel it
    FilterCalls();
}

}  // namespace vellumo::office

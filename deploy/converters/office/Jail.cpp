// SPDX-License-Identifier: Apache-2.0
#include "Jail.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "CallFilter.h"
#include "Failure.h"
#include "Statuses.h"
#include "support/Descriptor.h"

namespace vellumo::office {
namespace {

using support::Descriptor;

// The kernel counts those of the user id in all containers of the machine.
constexpr rlim_t kThreads = 1024;

// In the headers since Linux 5.19 and 6.2.
#ifndef LANDLOCK_ACCESS_FS_REFER
#define LANDLOCK_ACCESS_FS_REFER (1ULL << 13)
#endif
#ifndef LANDLOCK_ACCESS_FS_TRUNCATE
#define LANDLOCK_ACCESS_FS_TRUNCATE (1ULL << 14)
#endif
constexpr int kVersionWithRefer = 2;  // moving files between directories
constexpr int kVersionWithTruncate = 3;

constexpr uint64_t kReading =
    LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr uint64_t kWriting = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
                              LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_CHAR |
                              LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
                              LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
                              LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM;

// The system's programs and what they read. A path that does not exist is left out.
constexpr const char* kReadable[] = {"/usr",
                                     "/bin",
                                     "/lib",
                                     "/lib64",
                                     "/etc",
                                     "/opt/vellumo",
                                     "/var/cache/fontconfig",
                                     "/var/lib/libreoffice",
                                     "/sys/devices/system/cpu"};
constexpr const char* kDevices[] = {"/dev/null", "/dev/zero", "/dev/random", "/dev/urandom"};

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

// The rights that this kernel can withhold.
uint64_t Rights() {
    const long version =
        syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    return kReading | kWriting | (version >= kVersionWithRefer ? LANDLOCK_ACCESS_FS_REFER : 0) |
           (version >= kVersionWithTruncate ? LANDLOCK_ACCESS_FS_TRUNCATE : 0);
}

Descriptor MakeRuleset() {
    const landlock_ruleset_attr handled{Rights()};
    return Descriptor(
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &handled, sizeof handled, 0)));
}

void Allow(const Descriptor& ruleset, const std::string& path, uint64_t access) {
    const Descriptor place(open(path.c_str(), O_PATH | O_CLOEXEC));
    if (!place) {
        return;
    }
    const landlock_path_beneath_attr rule{access, place.Get()};
    syscall(SYS_landlock_add_rule, ruleset.Get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
}

void ConfineFiles(const std::string& room, const std::string& readable) {
    const Descriptor ruleset = MakeRuleset();
    if (!ruleset) {
        return;  // an older kernel, or a container engine that does not permit it
    }
    for (const char* path : kReadable) {
        Allow(ruleset, path, kReading);
    }
    for (const char* path : kDevices) {
        Allow(ruleset, path, LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_WRITE_FILE);
    }
    Allow(ruleset, readable, kReading);
    Allow(ruleset, "/proc/self", kReading);
    Allow(ruleset, room, Rights());
    if (syscall(SYS_landlock_restrict_self, ruleset.Get(), 0) != 0) {
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

// SPDX-License-Identifier: Apache-2.0
#include "KilledProgram.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <map>
#include <system_error>

#include "support/ChildProcess.h"

namespace vellumo::test {
namespace {

using CallInfo = __ptrace_syscall_info;

const std::map<long, std::string> kChanges{
    {SYS_open, "open"},         {SYS_openat, "openat"},       {SYS_write, "write"},
    {SYS_writev, "writev"},     {SYS_pwrite64, "pwrite64"},   {SYS_ftruncate, "ftruncate"},
    {SYS_fcntl, "fcntl"},       {SYS_flock, "flock"},         {SYS_rename, "rename"},
    {SYS_renameat, "renameat"}, {SYS_renameat2, "renameat2"}, {SYS_unlink, "unlink"},
    {SYS_unlinkat, "unlinkat"}, {SYS_link, "link"},           {SYS_linkat, "linkat"},
    {SYS_mkdir, "mkdir"},       {SYS_mkdirat, "mkdirat"},     {SYS_rmdir, "rmdir"},
    {SYS_mknod, "mknod"},       {SYS_mknodat, "mknodat"},     {SYS_chmod, "chmod"},
    {SYS_vfork, "vfork"},       {SYS_clone, "clone"},         {SYS_clone3, "clone3"},
    {SYS_wait4, "wait4"},
};

// The name of the change that the call is; "" when it changes nothing.
std::string ChangeOf(const CallInfo& info) {
    const auto call = static_cast<long>(info.entry.nr);
    const auto found = kChanges.find(call);
    if (found == kChanges.end()) {
        return "";
    }
    const bool opens = call == SYS_open || call == SYS_openat;
    const auto flags = info.entry.args[call == SYS_open ? 1 : 2];
    const bool isLock = info.entry.args[1] == F_OFD_SETLK || info.entry.args[1] == F_SETLK;
    if ((opens && (flags & (O_CREAT | O_TRUNC)) == 0) || (call == SYS_fcntl && !isLock)) {
        return "";
    }
    return found->second;
}

// Waits for the programs that the killed one had started: they have become children of this one.
void WaitForOrphans() {
    while (waitpid(-1, nullptr, 0) > 0) {
    }
}

[[noreturn]] void BecomeTraced(std::vector<std::string> command) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    execv(command[0].c_str(), support::ArgumentVector(command).data());
    _exit(127);
}

// Continues the program up to the next beginning or end of a system call. Returns false when the
// program has ended.
bool Continue(pid_t program, int signal, int& status) {
    if (ptrace(PTRACE_SYSCALL, program, nullptr, signal) != 0 ||
        waitpid(program, &status, 0) != program) {
        throw std::system_error(errno, std::generic_category(), "cannot trace a program");
    }
    return WIFSTOPPED(status);
}

}  // namespace

std::string KilledAtStep(const std::vector<std::string>& command, int step) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t program = fork();
    if (program == 0) {
        BecomeTraced(command);
    }
    int status = 0;
    waitpid(program, &status, 0);
    ptrace(PTRACE_SETOPTIONS, program, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int signal = 0;
    while (Continue(program, signal, status)) {
        signal = WSTOPSIG(status);
        if (signal != (SIGTRAP | 0x80)) {
            continue;
        }
        signal = 0;
        CallInfo info{};
        ptrace(PTRACE_GET_SYSCALL_INFO, program, sizeof(info), &info);
        const std::string change = info.op == PTRACE_SYSCALL_INFO_ENTRY ? ChangeOf(info) : "";
        if (!change.empty() && --step == 0) {
            kill(program, SIGKILL);
            WaitForOrphans();
            return change;
        }
    }
    return "";
}

}  // namespace vellumo::test

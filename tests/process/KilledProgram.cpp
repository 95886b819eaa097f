// SPDX-License-Identifier: Apache-2.0
#include "KilledProgram.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>
#include <utility>

#include "support/ChildProcess.h"

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;

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

// Follows a program that this process has started with BecomeTraced() through its system calls.
class Tracer {
public:
    explicit Tracer(pid_t program) : _program(program) {
        int status = 0;
        waitpid(program, &status, 0);
        ptrace(PTRACE_SETOPTIONS, program, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    }

    // Waits until the program begins its next system call. Returns false when it has ended.
    bool NextCall(CallInfo& info) {
        int status = 0;
        while (Continue(_program, std::exchange(_signal, 0), status)) {
            if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
                _signal = WSTOPSIG(status);
                continue;
            }
            ptrace(PTRACE_GET_SYSCALL_INFO, _program, sizeof(info), &info);
            if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
                return true;
            }
        }
        return false;
    }

private:
    pid_t _program;
    int _signal = 0;
};

pid_t StartTraced(const std::vector<std::string>& command) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t program = fork();
    if (program == 0) {
        BecomeTraced(command);
    }
    return program;
}

// The file that the descriptor in the call's first argument is open for.
class CalledFile {
public:
    CalledFile(pid_t program, const CallInfo& info)
        : _link("/proc/" + std::to_string(program) + "/fd/" + std::to_string(info.entry.args[0])) {
        stat(_link.c_str(), &_status);
    }

    FileId Id() const { return {_status.st_dev, _status.st_ino}; }
    bool IsRegular() const { return S_ISREG(_status.st_mode); }
    bool IsEmpty() const { return _status.st_size == 0; }
    std::string Content() const {
        std::ostringstream content;
        content << std::ifstream(_link).rdbuf();
        return content.str();
    }

private:
    std::string _link;
    struct stat _status {};
};

// The path that the call's first argument points to.
std::string CalledPath(pid_t program, const CallInfo& info) {
    std::string path(PATH_MAX, '\0');
    iovec here{path.data(), path.size()};
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address in the other process
    iovec there{reinterpret_cast<void*>(info.entry.args[0]), path.size()};
    // A short path at the end of a page is read as far as the page goes.
    return process_vm_readv(program, &here, 1, &there, 1, 0) > 0 ? path.c_str() : "";
}

FileId IdOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? FileId{status.st_dev, status.st_ino} : FileId{};
}

bool Syncs(const CallInfo& info) {
    return info.entry.nr == SYS_fsync || info.entry.nr == SYS_fdatasync;
}

bool Writes(const CallInfo& info) {
    return info.entry.nr == SYS_write || info.entry.nr == SYS_writev ||
           info.entry.nr == SYS_pwrite64 || info.entry.nr == SYS_ftruncate;
}

void NoteRemoval(const std::string& path, Interrupted& interrupted) {
    const auto file = interrupted.onDisk.find(IdOf(path));
    if (file != interrupted.onDisk.end()) {
        interrupted.removed[path] = file->second;
    }
}

// What the call does to the disk.
void Note(const CallInfo& info, pid_t program, Interrupted& interrupted) {
    if (Syncs(info)) {
        const CalledFile file(program, info);
        std::erase_if(interrupted.removed, [&](const auto& removed) {
            return IdOf(fs::path(removed.first).parent_path()) == file.Id();
        });
        interrupted.synced.insert(file.Id());
        interrupted.onDisk[file.Id()] = file.Content();
    } else if (Writes(info)) {
        const CalledFile file(program, info);
        interrupted.synced.erase(file.Id());
        interrupted.written.insert(file.Id());
        // An empty file can be a new one with the inode number of a removed one.
        if (file.IsRegular() && (file.IsEmpty() || !interrupted.onDisk.contains(file.Id()))) {
            interrupted.onDisk[file.Id()] = file.Content();
        }
    } else if (info.entry.nr == SYS_unlink) {
        NoteRemoval(CalledPath(program, info), interrupted);
    }
}

}  // namespace

Interrupted KilledWithDisk(const std::vector<std::string>& command, int step) {
    const pid_t program = StartTraced(command);
    Tracer tracer(program);
    Interrupted interrupted;
    CallInfo info{};
    while (tracer.NextCall(info)) {
        Note(info, program, interrupted);
        const std::string change = ChangeOf(info);
        if (!change.empty() && --step == 0) {
            kill(program, SIGKILL);
            interrupted.call = change;
            break;
        }
    }
    WaitForOrphans();
    return interrupted;
}

std::string KilledAtStep(const std::vector<std::string>& command, int step) {
    return KilledWithDisk(command, step).call;
}

}  // namespace vellumo::test

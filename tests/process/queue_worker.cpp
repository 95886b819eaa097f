// SPDX-License-Identifier: Apache-2.0
// A process that uses the task queue, for tests of several:
//   queue_worker open [unlocked]  opens it; exit status 0 when that worked
//   queue_worker together         likewise; says "ready" before, and goes on when SIGUSR1 comes
//   queue_worker halt [unlocked]  likewise; says "halted" when it is about to begin the first
//                                 transaction, and goes on when SIGUSR1 comes; says "waiting" when
//                                 it must wait for its turn before
//   queue_worker die N            opens it, and is killed when it begins its N-th statement or
//                                 change of a file, of which it makes one half; exit status 0 when
//                                 there is no N-th
//   queue_worker produce NAME SECONDS  appends the tasks /NAME-0, /NAME-1, …; says how many at the
//                                 end; exit status 1 when one is not taken
//   queue_worker consume          reads the oldest task, writes its path to standard output and
//                                 deletes it, over and over until there is none and /device/done
// unlocked: it cannot have the lock by which migrations take turns.
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <string>

#include "Announcement.h"
#include "vellumo/TaskDB.h"

using namespace NAVO::VELLUMO;

namespace {

bool lockable = true;
bool halting = false;
bool hasWaited = false;
int stepsToDeath = 0;

bool IsLastStep() {
    return stepsToDeath > 0 && --stepsToDeath == 0;
}

int OnStatement(unsigned int, void*, void*, void* text) {
    if (IsLastStep()) {
        kill(getpid(), SIGKILL);
    }
    if (halting && std::strcmp(static_cast<const char*>(text), "BEGIN IMMEDIATE;") == 0) {
        halting = false;
        vellumo::test::AnnounceAndWait("halted");
    }
    return 0;
}

int Trace(sqlite3* connection, char**, const void*) {
    return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, OnStatement, nullptr);
}

ssize_t Write(int file, const void* bytes, size_t size) {
    if (IsLastStep()) {
        const ssize_t half = write(file, bytes, size / 2);
        kill(getpid(), half < 0 ? SIGABRT : SIGKILL);
    }
    return write(file, bytes, size);
}

ssize_t WriteAt(int file, const void* bytes, size_t size, off64_t offset) {
    if (IsLastStep()) {
        const ssize_t half = pwrite64(file, bytes, size / 2, offset);
        kill(getpid(), half < 0 ? SIGABRT : SIGKILL);
    }
    return pwrite64(file, bytes, size, offset);
}

int Unlink(const char* path) {
    if (IsLastStep()) {
        kill(getpid(), SIGKILL);
    }
    return unlink(path);
}

template <typename Function>
void Replace(const char* name, Function* function) {
    sqlite3_vfs* system = sqlite3_vfs_find(nullptr);
    system->xSetSystemCall(system, name, reinterpret_cast<sqlite3_syscall_ptr>(function));
}

void WatchSqlite() {
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(Trace));
    Replace("write", Write);
    Replace("pwrite", WriteAt);
    Replace("pwrite64", WriteAt);
    Replace("unlink", Unlink);
}

int Open() {
    WatchSqlite();
    TaskDB queue;
    return queue.OpenDB() ? 0 : 1;
}

int Produce(const std::string& name, int seconds) {
    TaskDB queue;
    if (!queue.OpenDB()) {
        return 1;
    }
    const std::time_t end = std::time(nullptr) + seconds;
    int count = 0;
    for (; std::time(nullptr) < end; ++count) {
        if (!queue.AppendTask({1, false, "", "/" + name + "-" + std::to_string(count), 2})) {
            return 1;
        }
        usleep(20000);
    }
    std::cout << count << std::endl;
    return 0;
}

bool IsOver(TaskDB& queue) {
    std::vector<TaskDB::Task> rest;
    return access("/device/done", F_OK) == 0 && queue.GetTasks(rest, 1) && rest.empty();
}

int Consume() {
    TaskDB queue;
    if (!queue.OpenDB()) {
        return 1;
    }
    while (!IsOver(queue)) {
        TaskDB::Task task;
        if (!queue.GetTask(task)) {
            usleep(1000);
            continue;
        }
        std::cout << task.path << '\n';
        if (!queue.DeleteTask(task)) {
            return 1;
        }
    }
    std::cout << std::flush;
    return 0;
}

}  // namespace

// Stands before the C library's own.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" __attribute__((visibility("default"))) int flock(int file, int operation) noexcept {
    if (!lockable) {
        errno = ENOLCK;
        return -1;
    }
    const int result = static_cast<int>(syscall(SYS_flock, file, operation));
    if (halting && result != 0 && errno == EWOULDBLOCK && !hasWaited) {
        hasWaited = true;
        vellumo::test::Announce("waiting");
        errno = EWOULDBLOCK;
    }
    return result;
}

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    const std::string argument = argc > 2 ? argv[2] : "";
    lockable = argument != "unlocked";
    if (command == "produce") {
        return Produce(argument, argc > 3 ? std::atoi(argv[3]) : 0);
    }
    if (command == "consume") {
        return Consume();
    }
    if (command == "together") {
        vellumo::test::AnnounceAndWait("ready");
        return Open();
    }
    halting = command == "halt";
    stepsToDeath = command == "die" ? std::atoi(argument.c_str()) : 0;
    return command == "open" || halting || stepsToDeath > 0 ? Open() : 2;
}

// SPDX-License-Identifier: Apache-2.0
#include "cold.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "jail/calls.h"
#include "jail/files.h"
#include "jail/users.h"
#include "signals.h"

enum {
    LINE = 512,  // bytes; a stat file's beginning
    ENDING_TRIES = 10000,
    PROCESSES = 192,  // of the 256 of a container, so that there are some left to end them
};

// Returns 0, or -1 with errno.
static int become(uid_t owner) {
    if (geteuid() == owner) {
        return 0;
    }
    return setgroups(0, NULL) != 0 || setresgid(owner, owner, owner) != 0 ||
                   setresuid(owner, owner, owner) != 0
               ? -1
               : 0;
}

// The root of a user namespace without other users stays root.
static int drop_capabilities(void) {
    struct __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    const struct __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {{0, 0, 0}, {0, 0, 0}};
    return (int)syscall(SYS_capset, &header, none);
}

// No core files, and a limit for the processes of this user id, which no other document has.
static int limit_resources(uid_t owner) {
    const struct rlimit no_core = {0, 0};
    const struct rlimit processes = {PROCESSES, PROCESSES};
    return setrlimit(RLIMIT_CORE, &no_core) != 0 ||
                   (geteuid() != owner && setrlimit(RLIMIT_NPROC, &processes) != 0)
               ? -1
               : 0;
}

// A cold office has a socket in /tmp, calibre shared memory. What they leave there is removed with
// the room.
static int confine(const Call* call, const char* program) {
    const struct files_place places[] = {{call->room.place.path, FILES_WRITE},
                                         {"/tmp", FILES_CONNECT},
                                         {"/dev/shm", FILES_WRITE},
                                         {"/proc", FILES_READ},
                                         {program, FILES_READ}};
    return files_confine(places, sizeof places / sizeof *places);
}

// At the memory limit, the kernel kills this process before vellumo-office.
static void offer_to_memory_limit(void) {
    const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (file >= 0) {
        (void)!write(file, "500", 3);
        (void)close(file);
    }
}

// Writes the directory above this program's own to `path`, which has PATH_MAX bytes.
static void find_installation(char* path) {
    const ssize_t length = readlink("/proc/self/exe", path, PATH_MAX - 1);
    path[length > 0 ? length : 0] = '\0';
    for (int i = 0; i < 2; ++i) {
        char* slash = strrchr(path, '/');
        if (slash != NULL) {
            *slash = '\0';
        }
    }
}

// Executes the tool's wrapper if there is one, or the tool itself.
static void execute(const Call* call, const char* installation, char** words) {
    char tool[2 * PATH_MAX];
    (void)snprintf(tool, sizeof tool, "%s/bin/%s", installation, call->tool);
    (void)execv(tool, words);
    (void)snprintf(tool, sizeof tool, "/usr/bin/%s", call->tool);
    (void)execv(tool, words);
    perror(tool);
}

// The filter comes last, because it refuses some of the calls before it.
static int enter_jail(const Call* call, const char* installation) {
    const uid_t owner = call->room.place.owner;
    return limit_resources(owner) != 0 || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
                   confine(call, installation) != 0 || become(owner) != 0 ||
                   drop_capabilities() != 0 || prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 ||
                   calls_filter() != 0
               ? -1
               : 0;
}

// Turns the child into the tool.
_Noreturn static void run_tool(const Call* call, char** words) {
    char installation[PATH_MAX];
    (void)setpgid(0, 0);
    give_signals_back();
    (void)setenv("HOME", call->room.home, 1);
    (void)setenv("TMPDIR", call->room.home, 1);
    (void)chdir(call->room.home);
    offer_to_memory_limit();
    find_installation(installation);
    if (enter_jail(call, installation) != 0) {
        perror("vellumo-tool: no jail for the tool");
        _exit(ROOM_FAILED);
    }
    execute(call, installation, words);
    _exit(NO_SUCH_TOOL);
}

// Sends SIGKILL to every process whose parent is this one.
static void kill_children(void) {
    DIR* processes = opendir("/proc");
    const struct dirent* entry = NULL;
    while (processes != NULL && (entry = readdir(processes)) != NULL) {
        char path[PATH_MAX];
        char line[LINE];
        (void)snprintf(path, sizeof path, "/proc/%s/stat", entry->d_name);
        FILE* file = fopen(path, "re");
        const char* rest = file != NULL ? fgets(line, sizeof line, file) : NULL;
        // PROCESS (NAME) STATE PARENT; the name may contain blanks and parentheses.
        rest = rest != NULL ? strrchr(line, ')') : NULL;
        if (rest != NULL && strtol(rest + strlen(") S "), NULL, 10) == getpid()) {
            (void)kill((pid_t)strtol(entry->d_name, NULL, 10), SIGKILL);
        }
        if (file != NULL) {
            (void)fclose(file);
        }
    }
    if (processes != NULL) {
        (void)closedir(processes);
    }
}

static void end_user(uid_t owner) {
    if (owner != geteuid()) {
        (void)users_end(owner);
    }
}

// Ends every process that the tool has left, and waits until it has ended: an orphan becomes a
// child of this process, which is their subreaper. Repeats, because where the tool has no user of
// its own, a process that forks while it is being killed leaves another, and because users_end()
// needs a process, which a tool that starts as many as it can may not leave.
static void end_leftovers(uid_t owner) {
    end_user(owner);
    const struct timespec pause = {0, 1000000L};
    for (int i = 0; i < ENDING_TRIES; ++i) {
        const pid_t ended = waitpid(-1, NULL, WNOHANG);
        if (ended < 0) {
            return;
        }
        if (ended == 0) {
            kill_children();
            end_user(owner);
            (void)nanosleep(&pause, NULL);
        }
    }
}

// A caller that sees no exit status, but what was written, can tell a tool that was killed from one
// that has failed.
static int status_of(int ending) {
    if (WIFEXITED(ending)) {
        return WEXITSTATUS(ending);
    }
    (void)fprintf(stderr, "vellumo-tool: signal %d ended the tool\n", WTERMSIG(ending));
    return ENDED_BY_SIGNAL + WTERMSIG(ending);
}

// Waits until the tool ends, or until a signal arrives that ends both.
static int wait_for(const Call* call, pid_t tool) {
    int ending = 0;
    while (waitpid(tool, &ending, WNOHANG) == 0) {
        const int signal = next_signal(call->signals);
        if (signal > 0 && signal != SIGCHLD) {
            (void)kill(-tool, SIGKILL);
            (void)waitpid(tool, &ending, 0);
            return ENDED_BY_SIGNAL + signal;
        }
    }
    return status_of(ending);
}

int run_cold(Call* call) {
    enter_room(call);
    char* words[MAX_WORDS + 1] = {call->words[0]};
    for (int i = 1; i < call->count; ++i) {
        words[i] = into_room(call, call->words[i]);
    }
    (void)prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t tool = fork();
    if (tool == 0) {
        run_tool(call, words);
    }
    if (tool < 0) {
        fail(call, ROOM_FAILED, call->tool, strerror(errno));
    }
    (void)setpgid(tool, tool);
    const int status = wait_for(call, tool);
    (void)kill(-tool, SIGKILL);
    end_leftovers(call->room.place.owner);
    if (status < ENDED_BY_SIGNAL) {
        publish_products(call);
    }
    return status;
}

// SPDX-License-Identifier: Apache-2.0
#include "cold.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "settings.h"
#include "signals.h"

enum {
    LINE = 512,  // bytes; a stat file's beginning
    ENDING_TRIES = 10000,
};

static void become(const Call* call, uid_t owner) {
    if (geteuid() == owner) {
        return;
    }
    if (setgroups(0, NULL) != 0 || setresgid(owner, owner, owner) != 0 ||
        setresuid(owner, owner, owner) != 0) {
        perror(call->tool);
        _exit(ROOM_FAILED);
    }
}

// At the memory limit, the kernel kills this process before vellumo-office.
static void offer_to_memory_limit(void) {
    const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (file >= 0) {
        (void)!write(file, "500", 3);
        (void)close(file);
    }
}

// Executes the tool's wrapper in ../bin beside this program or, if there is none, the tool itself.
static void execute(const Call* call, char** words) {
    char here[PATH_MAX];
    char tool[2 * PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", here, sizeof here - 1);
    here[length > 0 ? length : 0] = '\0';
    char* slash = strrchr(here, '/');
    if (slash != NULL) {
        *slash = '\0';
        (void)snprintf(tool, sizeof tool, "%s/../bin/%s", here, call->tool);
        (void)execv(tool, words);
    }
    (void)snprintf(tool, sizeof tool, "/usr/bin/%s", call->tool);
    (void)execv(tool, words);
    perror(tool);
}

// Turns the child into the tool.
_Noreturn static void run_tool(const Call* call, char** words) {
    const struct rlimit no_core = {0, 0};
    (void)setpgid(0, 0);
    give_signals_back();
    (void)setenv("HOME", call->room.home, 1);
    (void)setenv("TMPDIR", call->room.home, 1);
    (void)setrlimit(RLIMIT_CORE, &no_core);
    offer_to_memory_limit();
    become(call, call->room.owner);
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    execute(call, words);
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

// Ends every process that the tool has left: an orphan becomes a child of this process, which is
// their subreaper. Repeats, because a process that forks while it is being killed leaves another.
static void end_leftovers(void) {
    const struct timespec pause = {0, 1000000L};
    for (int i = 0; i < ENDING_TRIES; ++i) {
        const pid_t ended = waitpid(-1, NULL, WNOHANG);
        if (ended < 0) {
            return;
        }
        if (ended == 0) {
            kill_children();
            (void)nanosleep(&pause, NULL);
        }
    }
}

static int status_of(int ending) {
    return WIFEXITED(ending) ? WEXITSTATUS(ending) : ENDED_BY_SIGNAL + WTERMSIG(ending);
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
    enter_room(call, user("VELLUMO_TOOL_UID"));
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
    end_leftovers();
    if (status < ENDED_BY_SIGNAL) {
        publish_products(call);
    }
    return status;
}

// SPDX-License-Identifier: Apache-2.0
#include "jail/users.h"

#include <errno.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

enum { LINE = 128 };  // bytes; three numbers

struct range {
    uid_t first;
    unsigned blocks;
};

// Distributions give out none of the ids of the first range. The second is for user namespaces with
// 65536 ids, where the first does not exist; an account there may have one of its ids.
static const struct range RANGES[] = {{0x70000000, 1U << 21U}, {40000, 384}};

// A user namespace lists its ids as ranges, one in a line: FIRST OUTSIDE COUNT.
static bool is_mapped(const char* map, uint64_t first, uint64_t end) {
    char line[LINE];
    bool found = false;
    FILE* file = fopen(map, "re");
    while (file != NULL && !found && fgets(line, sizeof line, file) != NULL) {
        char* rest = line;
        const uint64_t start = strtoull(rest, &rest, 10);
        (void)strtoull(rest, &rest, 10);
        const uint64_t count = strtoull(rest, &rest, 10);
        found = start <= first && end <= start + count;
    }
    if (file != NULL) {
        (void)fclose(file);
    }
    return found;
}

uid_t users_block(unsigned number) {
    for (size_t i = 0; geteuid() == 0 && i < sizeof RANGES / sizeof *RANGES; ++i) {
        const struct range* range = &RANGES[i];
        const uint64_t end = (uint64_t)range->first + (uint64_t)range->blocks * USERS_IN_BLOCK;
        if (is_mapped("/proc/self/uid_map", range->first, end) &&
            is_mapped("/proc/self/gid_map", range->first, end)) {
            return range->first + number % range->blocks * USERS_IN_BLOCK;
        }
    }
    return (uid_t)-1;
}

// One call to kill() reaches all: the kernel sends the signal to all processes of the user in one
// step, and a process with a fatal signal cannot make another one. Of this process, only the
// effective id is the user's, which allows it to kill, but does not allow the user to stop it. The
// real id, which counts too, is one that no tool gets.
_Noreturn static void kill_all_as(uid_t user) {
    if (setresuid(user | (USERS_IN_BLOCK - 1), user, 0) != 0) {
        _exit(errno);
    }
    _exit(kill(-1, SIGKILL) != 0 && errno != ESRCH ? errno : 0);
}

static pid_t start_killer(uid_t user) {
    const pid_t killer = fork();
    if (killer == 0) {
        kill_all_as(user);
    }
    return killer;
}

int users_end(uid_t user) {
    int ending = 0;
    do {  // again if the killer of another user of the same block has killed this one
        const pid_t killer = start_killer(user);
        if (killer < 0) {
            return -1;
        }
        while (waitpid(killer, &ending, 0) < 0) {
            if (errno != EINTR) {
                return -1;
            }
        }
    } while (WIFSIGNALED(ending));
    errno = WEXITSTATUS(ending);
    return errno == 0 ? 0 : -1;
}

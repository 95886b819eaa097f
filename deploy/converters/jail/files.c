// SPDX-License-Identifier: Apache-2.0
#include "jail/files.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/syscall.h>
#include <unistd.h>

// In the headers since Linux 5.19, 6.2 and 6.12.
#ifndef LANDLOCK_ACCESS_FS_REFER
#define LANDLOCK_ACCESS_FS_REFER (1ULL << 13)
#endif
#ifndef LANDLOCK_ACCESS_FS_TRUNCATE
#define LANDLOCK_ACCESS_FS_TRUNCATE (1ULL << 14)
#endif
#ifndef LANDLOCK_SCOPE_SIGNAL
#define LANDLOCK_SCOPE_ABSTRACT_UNIX_SOCKET (1ULL << 0)
#define LANDLOCK_SCOPE_SIGNAL (1ULL << 1)
#endif

enum {
    VERSION_WITH_REFER = 2,  // moving files between directories
    VERSION_WITH_TRUNCATE = 3,
    VERSION_WITH_SCOPES = 6,
};

// The kernel's structure in its newest form; an older kernel takes the zeros at its end.
struct ruleset {
    uint64_t files;
    uint64_t network;
    uint64_t scopes;
};

static const uint64_t READING =
    LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
static const uint64_t USING = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_WRITE_FILE;
static const uint64_t CONNECTING =
    LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_WRITE_FILE;
static const uint64_t WRITING = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
                                LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_CHAR |
                                LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
                                LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
                                LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM;

// The system's programs, what they read, and the devices.
static const struct files_place SYSTEM[] = {{"/usr", FILES_READ},
                                            {"/bin", FILES_READ},
                                            {"/lib", FILES_READ},
                                            {"/lib64", FILES_READ},
                                            {"/etc", FILES_READ},
                                            {"/opt/vellumo", FILES_READ},
                                            {"/var/cache/fontconfig", FILES_READ},
                                            {"/var/lib/libreoffice", FILES_READ},
                                            {"/var/lib/ghostscript", FILES_READ},
                                            {"/sys/devices/system/cpu", FILES_READ},
                                            {"/proc/self", FILES_READ},
                                            {"/dev/null", FILES_USE},
                                            {"/dev/zero", FILES_USE},
                                            {"/dev/random", FILES_USE},
                                            {"/dev/urandom", FILES_USE}};

static long version(void) {
    return syscall(SYS_landlock_create_ruleset, NULL, 0, LANDLOCK_CREATE_RULESET_VERSION);
}

// The rights that this kernel can withhold.
static uint64_t all_rights(void) {
    return READING | WRITING | (version() >= VERSION_WITH_REFER ? LANDLOCK_ACCESS_FS_REFER : 0) |
           (version() >= VERSION_WITH_TRUNCATE ? LANDLOCK_ACCESS_FS_TRUNCATE : 0);
}

static uint64_t rights_of(enum files_access access) {
    switch (access) {
        case FILES_READ:
            return READING;
        case FILES_USE:
            return USING;
        case FILES_CONNECT:
            return CONNECTING;
        case FILES_WRITE:
            break;
    }
    return all_rights();
}

static int make_ruleset(void) {
    struct ruleset ruleset = {.files = all_rights()};
    if (version() >= VERSION_WITH_SCOPES) {
        ruleset.scopes = LANDLOCK_SCOPE_ABSTRACT_UNIX_SOCKET | LANDLOCK_SCOPE_SIGNAL;
    }
    return (int)syscall(SYS_landlock_create_ruleset, &ruleset, sizeof ruleset, 0);
}

static void allow(int ruleset, const struct files_place* place) {
    const int file = open(place->path, O_PATH | O_CLOEXEC);
    if (file >= 0) {
        const struct landlock_path_beneath_attr rule = {rights_of(place->access), file};
        (void)syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
        (void)close(file);
    }
}

int files_confine(const struct files_place* places, unsigned count) {
    const int ruleset = make_ruleset();
    if (ruleset < 0) {
        return 0;
    }
    for (size_t i = 0; i < sizeof SYSTEM / sizeof *SYSTEM; ++i) {
        allow(ruleset, &SYSTEM[i]);
    }
    for (unsigned i = 0; i < count; ++i) {
        allow(ruleset, &places[i]);
    }
    const long result = syscall(SYS_landlock_restrict_self, ruleset, 0);
    (void)close(ruleset);
    return (int)result;
}

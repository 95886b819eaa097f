// SPDX-License-Identifier: Apache-2.0
// The files that a program in the jail may use, beside what its user id permits.
#ifndef VELLUMO_CONVERTERS_FILES_H
#define VELLUMO_CONVERTERS_FILES_H

#ifdef __cplusplus
extern "C" {
#endif

// What a program may do below a path.
enum files_access {
    FILES_READ,     // read and execute
    FILES_USE,      // read and write existing files, for devices
    FILES_CONNECT,  // make and remove Unix sockets
    FILES_WRITE,    // everything
};

struct files_place {
    const char* path;  // one that does not exist is left out
    enum files_access access;
};

// Confines the calling process and all that it starts later to the system's programs, which it may
// read, to four devices, to its own /proc directory, and to the `count` places. It must have
// PR_SET_NO_NEW_PRIVS. From Linux 6.12 on, it cannot signal or connect to processes outside either.
//
// Returns 0, also where the kernel or a container engine does not offer this (Landlock): user ids
// alone protect the files there. Returns -1 with errno otherwise.
int files_confine(const struct files_place* places, unsigned count);

#ifdef __cplusplus
}
#endif

#endif

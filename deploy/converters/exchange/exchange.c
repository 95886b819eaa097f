// SPDX-License-Identifier: Apache-2.0
#include "exchange/exchange.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include "exchange/products.h"

enum { SIGNATURE_RANGE = 1024 };  // PDF readers look for the signature in so many first bytes

static const char SIGNATURE[] = "%PDF-";
static const char PART[] = ".part";  // suffix of a product that is being copied

// Non-blocking, so that opening a pipe does not wait for its writer; the pipe is then refused.
static const int AS_INPUT = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
static const int AS_OUTPUT = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;

// Keeps errno, so that the caller can still report the error of an earlier call.
static void close_file(int file) {
    const int error = errno;
    if (file >= 0) {
        (void)close(file);
    }
    errno = error;
}

static bool is_pdf_in_name_only(int file, const char* path) {
    const char* dot = strrchr(path, '.');
    if (dot == NULL || strcasecmp(dot, ".pdf") != 0) {
        return false;
    }
    char head[SIGNATURE_RANGE];
    const ssize_t length = pread(file, head, sizeof head, 0);
    return length <= 0 || memmem(head, (size_t)length, SIGNATURE, strlen(SIGNATURE)) == NULL;
}

static const char* refusal_of(const struct exchange_document* document, mode_t mode,
                              const char* path) {
    if (!S_ISREG(mode)) {
        return "is no regular file; give a document";
    }
    if (document->size == 0) {
        return "is empty, so there is nothing to convert";
    }
    if (is_pdf_in_name_only(document->file, path)) {
        return "is no PDF in spite of its name; give it the name of what it is";
    }
    return NULL;
}

int exchange_open(const char* path, struct exchange_document* document, const char** reason) {
    struct stat status;
    *reason = NULL;
    document->file = open(path, AS_INPUT);
    if (document->file >= 0 && fstat(document->file, &status) == 0) {
        document->size = status.st_size;
        *reason = refusal_of(document, status.st_mode, path);
        if (*reason == NULL) {
            return 0;
        }
    }
    close_file(document->file);
    document->file = -1;
    return -1;
}

// Copies the bytes from `at` to `end`, or to the end of the file if that comes first.
static bool copy_range(int from, int to, off_t at, off_t end) {
    if (lseek(to, at, SEEK_SET) < 0) {
        return false;
    }
    ssize_t copied = 1;
    while (at < end && copied != 0) {
        copied = sendfile(to, from, &at, (size_t)(end - at));
        if (copied < 0 && errno != EINTR) {
            return false;
        }
    }
    return true;
}

// Copies the data between the holes in the first `size` bytes.
static bool copy_data(int from, int to, off_t size) {
    off_t at = 0;
    while (at < size) {
        const off_t data = lseek(from, at, SEEK_DATA);
        if (data < 0 && errno == ENXIO) {
            return true;  // the rest is a hole, or the file ends here
        }
        const off_t hole = data >= 0 ? lseek(from, data, SEEK_HOLE) : -1;
        if (hole < 0 || !copy_range(from, to, data, hole < size ? hole : size)) {
            return false;
        }
        at = hole;
    }
    return true;
}

// Copies the first `size` bytes, or fewer if the file is shorter by now: its owner may change it.
static bool copy_content(int from, int to, off_t size) {
    struct stat now;
    if (ioctl(to, FICLONE, from) != 0 && !copy_data(from, to, size)) {
        return false;
    }
    return fstat(from, &now) == 0 && ftruncate(to, now.st_size < size ? now.st_size : size) == 0;
}

int exchange_copy(const struct exchange_document* document, const char* copy) {
    const int to = open(copy, AS_OUTPUT, S_IRUSR);
    const bool copied = to >= 0 && copy_content(document->file, to, document->size) &&
                        fchmod(to, S_IRUSR | S_IRGRP | S_IROTH) == 0;
    close_file(to);
    return copied ? 0 : -1;
}

static bool is_product(const char* name) {
    const size_t length = strlen(name);
    const bool is_temporary =
        strncmp(name, "lu", 2) == 0 && length > 4 && strcmp(name + length - 4, ".tmp") == 0;
    return name[0] != '.' && !is_temporary;
}

// Copies a product under a hidden name and renames it, so that readers see all of it or nothing.
static bool publish_file(int file, off_t size, const char* name, int target) {
    char hidden[EXCHANGE_NAME];
    const int room = (int)(sizeof hidden - sizeof "." - strlen(PART));
    (void)snprintf(hidden, sizeof hidden, ".%.*s%s", room, name, PART);
    (void)unlinkat(target, hidden, 0);
    const int to = openat(target, hidden, AS_OUTPUT, S_IRUSR | S_IWUSR);
    const bool published = to >= 0 && copy_content(file, to, size) &&
                           fchmod(to, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH) == 0 &&
                           renameat(target, hidden, target, name) == 0;
    close_file(to);
    if (!published) {
        const int error = errno;
        (void)unlinkat(target, hidden, 0);
        errno = error;
    }
    return published;
}

// False only for a product that cannot be published; what is no file of the owner's is skipped.
static bool publish(int made, const char* name, uid_t owner, int target) {
    const int file = openat(made, name, AS_INPUT);
    if (file < 0) {
        return errno != EACCES;
    }
    struct stat status;
    const bool is_made =
        fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == owner;
    const bool done = !is_made || publish_file(file, status.st_size, name, target);
    close_file(file);
    return done;
}

// Opens the directory again, because reading moves the position that a descriptor's copies share.
static DIR* list(int directory) {
    const int listing = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* entries = listing >= 0 ? fdopendir(listing) : NULL;
    if (entries == NULL) {
        close_file(listing);
    }
    return entries;
}

int exchange_publish(int made, int target, const struct products* products,
                     char failed[EXCHANGE_NAME]) {
    struct stat directory;
    failed[0] = '\0';
    DIR* entries = fstat(made, &directory) == 0 ? list(made) : NULL;
    if (entries == NULL) {
        return -1;
    }
    bool done = true;
    const struct dirent* entry = NULL;
    while (done && (entry = readdir(entries)) != NULL) {
        done = !is_product(entry->d_name) || !products_has(products, entry->d_name) ||
               publish(made, entry->d_name, directory.st_uid, target);
    }
    if (!done) {
        (void)snprintf(failed, EXCHANGE_NAME, "%s", entry->d_name);
    }
    const int error = errno;
    (void)closedir(entries);
    errno = error;
    return done ? 0 : -1;
}

int exchange_publish_file(int product, int target, const char* name) {
    struct stat status;
    if (fstat(product, &status) != 0) {
        return -1;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return -1;
    }
    return publish_file(product, status.st_size, name, target) ? 0 : -1;
}

// SPDX-License-Identifier: Apache-2.0
#include "db/MigrationLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <ctime>

namespace NAVO::VELLUMO::db {
namespace {

constexpr int kAttempts = 3000;
constexpr timespec kPause{0, 50000000};

int OpenLockFile(const std::string& path) {
    const int error = errno;
    // What others may have put in its place is not followed, and a pipe is not waited for.
    const int file =
        open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644);
    errno = error;
    return file;
}

// Takes the lock; whether that came to nothing because others kept it all the time.
bool StaysTaken(int file) {
    const int error = errno;
    bool taken = true;
    for (int attempt = 0; taken && attempt < kAttempts; ++attempt) {
        taken = flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        if (taken) {
            nanosleep(&kPause, nullptr);
        }
    }
    errno = error;
    return taken;
}

}  // namespace

MigrationLock::MigrationLock(const std::string& database)
    : _file(OpenLockFile(database + ".lock")), _isTaken(_file && StaysTaken(_file.Get())) {}

}  // namespace NAVO::VELLUMO::db

// SPDX-License-Identifier: Apache-2.0
#include "db/MigrationLock.h"

#include <navo/error.h>
#include <navo/lock.h>

#include <cerrno>

#include "support/PrivateFile.h"

namespace NAVO::VELLUMO::db {
namespace {

constexpr int kLimitSecs = 150;

}  // namespace

MigrationLock::MigrationLock(const std::string& database) {
    const int error = errno;
    const std::string file = database + ".lock";
    vellumo::support::EnsurePrivateFile(file);
    if (NLIBCFileLockTimeByFile(file.c_str(), 1, kLimitSecs, &_file) == 0) {
        _timedOut = NLIBCErrGet() == NAVO_ERR_LOCK_TIMEOUT;
    }
    errno = error;
}

MigrationLock::~MigrationLock() {
    if (_file >= 0) {
        NLIBCFileUnlockByFile(_file);
    }
}

}  // namespace NAVO::VELLUMO::db

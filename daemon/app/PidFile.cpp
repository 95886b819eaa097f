// SPDX-License-Identifier: Apache-2.0
#include "app/PidFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "loader/Problem.h"
#include "support/Descriptor.h"
#include "support/TemporaryFile.h"
#include "vellumo/Constants.h"

namespace vellumo::daemon {
namespace {

namespace core = NAVO::VELLUMO;
using loader::Failure;
using loader::Reason;

constexpr const char* kLock = "/var/packages/Vellumo/etc/navovellumod.lock";
constexpr mode_t kReadableByAll = 0644;

[[noreturn]] void Refuse(const std::string& why, const std::string& next = "") {
    throw Failure({Reason::kNotPrepared, "cannot start", why, next});
}

[[noreturn]] void RefuseFile(const char* file) {
    const int error = errno;
    Refuse(std::string(file) + " cannot be written: " + std::strerror(error),
           "Check the folder and the space on its disk.");
}

support::Lease TakeLock() {
    support::Lease lease = support::Lease::Take(kLock);
    if (!lease && errno == EAGAIN) {
        Refuse("the daemon runs already", std::string("Its process id is in ") + core::SZF_PIDPATH +
                                              "; 'vellumo status' shows what it does.");
    }
    if (!lease) {
        RefuseFile(kLock);
    }
    return lease;
}

// The file appears with its content: readers never see an empty one.
void Write(const std::string& text) {
    std::string path = std::string(core::SZF_PIDPATH) + ".XXXXXX";
    const support::Descriptor file = support::MakeTemporaryFile(path);
    if (!file) {
        RefuseFile(core::SZF_PIDPATH);
    }
    if (write(file.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        fchmod(file.Get(), kReadableByAll) != 0 || rename(path.c_str(), core::SZF_PIDPATH) != 0) {
        const int error = errno;
        unlink(path.c_str());
        errno = error;
        RefuseFile(core::SZF_PIDPATH);
    }
}

}  // namespace

PidFile::PidFile() : _lease(TakeLock()) {
    Write(std::to_string(getpid()) + "\n");
}

PidFile::~PidFile() {
    if (_lease) {
        unlink(core::SZF_PIDPATH);
        _lease.End();
    }
}

}  // namespace vellumo::daemon

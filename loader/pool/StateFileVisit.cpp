// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/StateFileVisit.h"

#include <navo/error.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;

}  // namespace

StateFileVisit::StateFileVisit(Purpose purpose, std::string what, int timeoutSecs)
    : _what(std::move(what)), _manager(core::SZF_CONFIG_PATH, timeoutSecs) {
    const bool locked = purpose == Purpose::kRead ? _manager.LockR() : _manager.LockW();
    if (!locked) {
        FailLock();
    }
    _damaged = !LoadDocument();
}

bool StateFileVisit::LoadDocument() {
    if (_manager.Load() && (_manager.config.isObject() || _manager.config.isNull())) {
        return true;
    }
    _manager.config = Json::Value(Json::objectValue);
    struct stat status {};
    return stat(core::SZF_CONFIG_PATH, &status) == 0 && status.st_size == 0;
}

void StateFileVisit::Fail(Reason reason, const std::string& why, const std::string& next) const {
    throw Failure({reason, _what, why, next});
}

void StateFileVisit::FailLock() const {
    const std::string file = core::SZF_CONFIG_PATH;
    if (NLIBCErrGet() == NAVO_ERR_LOCK_TIMEOUT) {
        Fail(Reason::kStateFileLocked, "another process keeps the state file " + file + " locked",
             "Try again; 'fuser -v " + file + "' shows who has it open.");
    }
    const bool accessible = access(file.c_str(), R_OK | W_OK) == 0;
    const int error = errno;
    Fail(Reason::kStateFileUnopenable,
         "cannot open the state file " + file +
             (accessible ? "" : std::string(": ") + std::strerror(error)),
         "Act as root, on a server where the package is installed.");
}

void StateFileVisit::RequireSound() const {
    if (_damaged) {
        Fail(Reason::kStateFileDamaged,
             std::string("the state file ") + core::SZF_CONFIG_PATH + " is not a JSON object",
             "Restore the factory default, then register the containers again.");
    }
}

void StateFileVisit::Save() {
    if (!_manager.Save()) {
        const int error = errno;
        Fail(Reason::kStateFileUnwritable,
             std::string("cannot write the state file ") + core::SZF_CONFIG_PATH +
                 (error == 0 ? "" : std::string(": ") + std::strerror(error)),
             "Check the file's permissions and the free space beside it.");
    }
}

void StateFileVisit::Reset() {
    if (!core::ConfigManager::Reset(core::SZF_CONFIG_PATH)) {
        Fail(Reason::kNoFactoryDefault,
             "cannot copy the factory default /var/packages/Vellumo/target/conf/config",
             "Check that the file exists; installing the package puts it there.");
    }
}

}  // namespace vellumo::loader

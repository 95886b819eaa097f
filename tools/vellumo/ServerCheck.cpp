// SPDX-License-Identifier: Apache-2.0
#include "ServerCheck.h"

#include <unistd.h>

#include "Messages.h"
#include "PoolState.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
using Priority = core::ContainerPoolManager::Priority;

constexpr const char* kDocker = "/usr/local/bin/docker";
constexpr size_t kContainersForLowPriority = 2;

[[noreturn]] void Fail(const std::string& what, const std::string& why, const std::string& next,
                       ExitCode code = ExitCode::kNotPrepared) {
    throw Failure({code, what, why, next, {}});
}

bool MayBecomeRoot() {
    uid_t real = 0;
    uid_t effective = 0;
    uid_t saved = 0;
    getresuid(&real, &effective, &saved);
    return real == 0 || effective == 0 || saved == 0;
}

}  // namespace

void CheckRights(const std::string& what) {
    if (!MayBecomeRoot()) {
        Fail(what, "this needs the rights of root",
             "Run it with sudo, or in a device view, where you are root.");
    }
}

void CheckServer(const std::string& what) {
    std::string volume;
    if (!core::VolumePathGet(core::SZF_DOCKER_DIR, volume)) {
        Fail(what, "there is no share 'docker' for the scratch files",
             "Add a section [docker] with its path to /etc/samba/smb.conf.");
    }
    if (access(kDocker, X_OK) != 0) {
        Fail(what, std::string("there is no container engine at ") + kDocker,
             "Install the engine's client there, or run the command in a device view.");
    }
}

void CheckPool(const std::string& what, Priority priority) {
    const PoolState pool = ReadPool(what, core::LOCK_TIMEOUT_SECS);
    if (pool.containers.empty()) {
        Fail(what, "no container is registered, so nothing could ever run",
             "Register the converter containers: vellumo pool add navo1 navo2.", ExitCode::kPool);
    }
    if (priority == core::ContainerPoolManager::PRIORITY_LOW &&
        pool.containers.size() < kContainersForLowPriority) {
        Fail(what,
             "page ranges and thumbnails are work of low priority, which the first container by "
             "name (" +
                 pool.containers.front().name + ", the only one) never takes",
             "Register a second container ('vellumo pool add navo2'), or convert whole documents "
             "only.",
             ExitCode::kPool);
    }
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/Readiness.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "loader/Problem.h"
#include "loader/pool/EngineClient.h"
#include "loader/pool/PoolState.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;
using Priority = core::ContainerPoolManager::Priority;

constexpr size_t kContainersForLowPriority = 2;
constexpr std::chrono::seconds kAnswerLimit(10);

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
        throw Failure({Reason::kNoRights, what, "this needs the rights of root", ""});
    }
}

void CheckServer(const std::string& what) {
    std::string volume;
    if (!core::VolumePathGet(core::SZF_DOCKER_DIR, volume)) {
        throw Failure({Reason::kNoScratchShare, what,
                       "there is no share 'docker' for the scratch files",
                       "Add a section [docker] with its path to /etc/samba/smb.conf."});
    }
    if (access(kEngineClient, X_OK) != 0) {
        throw Failure({Reason::kNoEngine, what,
                       std::string("there is no container engine at ") + kEngineClient,
                       "Install the client of a container engine there."});
    }
}

size_t CheckPool(const std::string& what, Priority priority) {
    const PoolState pool = ReadPool(what, core::LOCK_TIMEOUT_SECS);
    if (pool.containers.empty()) {
        throw Failure({Reason::kNoContainer, what,
                       "no container is registered, so the conversion would wait for ever",
                       "Start and register the converter containers."});
    }
    if (priority == core::ContainerPoolManager::PRIORITY_LOW &&
        pool.containers.size() < kContainersForLowPriority) {
        throw Failure({Reason::kOneContainer, what,
                       "page ranges and thumbnails are work of low priority, which the first "
                       "container by name (" +
                           pool.containers.front().name + ", the only one) never takes",
                       "Start and register a second container."});
    }
    return pool.Slots(priority);
}

bool DoContainersAnswer() {
    try {
        const PoolState pool = ReadPool("", core::LOCK_TIMEOUT_SECS);
        return std::all_of(
            pool.containers.begin(), pool.containers.end(), [](const Container& container) {
                return AskEngine({"exec", container.name, "true"}, kAnswerLimit).status == 0;
            });
    } catch (const Failure&) {
        return false;
    }
}

}  // namespace vellumo::loader

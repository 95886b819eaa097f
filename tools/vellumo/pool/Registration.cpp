// SPDX-License-Identifier: Apache-2.0
#include "pool/Registration.h"

#include <filesystem>

#include "loader/pool/PoolState.h"
#include "loader/pool/StateFileVisit.h"
#include "support/PrivateFile.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;
using Purpose = loader::StateFileVisit::Purpose;

// Where the content of a damaged state file is kept.
std::string DamagedCopy() {
    return core::SZF_CONFIG_PATH + std::string(".damaged");
}

void KeepDamaged(Steps& steps) {
    support::EnsurePrivateFile(DamagedCopy());
    std::error_code error;
    fs::copy_file(core::SZF_CONFIG_PATH, DamagedCopy(), fs::copy_options::overwrite_existing,
                  error);
    support::KeepForOwner(DamagedCopy());
    steps.Tell(std::string(core::SZF_CONFIG_PATH) + ": was damaged, begun anew" +
               (error ? "" : "; the old content is in " + DamagedCopy()));
}

}  // namespace

bool RenewLostState(Steps& steps) {
    loader::StateFileVisit visit(Purpose::kChange, "cannot look at the state file",
                                 core::LOCK_TIMEOUT_SECS);
    if (visit.IsDamaged()) {
        KeepDamaged(steps);
        visit.Save();
    }
    return loader::PoolState::Of(visit.Document()).containers.empty();
}

void Register(const std::vector<std::string>& names, Steps& steps) {
    loader::StateFileVisit visit(Purpose::kChange, "cannot register containers",
                                 core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    for (const std::string& name : names) {
        Json::Value& entry = visit.Document()[name];
        if (!entry.isObject()) {
            entry = loader::NewContainer();
            steps.Tell(name + ": registered");
        }
    }
    visit.Save();
}

std::vector<std::string> Unregister(const std::vector<std::string>& names, bool force,
                                    Steps& steps) {
    std::vector<std::string> taken;
    loader::StateFileVisit visit(Purpose::kChange, "cannot take containers out of the pool",
                                 core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    const loader::PoolState pool = loader::PoolState::Of(visit.Document());
    for (const std::string& name : names) {
        const loader::Container* container = pool.Find(name);
        if (container != nullptr && container->inUse > 0 && !force) {
            steps.Tell(name + ": is in use, kept; call again later");
            continue;
        }
        visit.Document().removeMember(name);
        taken.push_back(name);
        steps.Tell(name + ": taken out of the pool");
    }
    visit.Save();
    return taken;
}

std::vector<std::string> Registered() {
    std::vector<std::string> names;
    for (const loader::Container& container :
         loader::ReadPool("cannot look at the pool", core::LOCK_TIMEOUT_SECS).containers) {
        names.push_back(container.name);
    }
    return names;
}

}  // namespace vellumo::cli

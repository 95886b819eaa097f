// SPDX-License-Identifier: Apache-2.0
#include "pool/PoolSetup.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>

#include "loader/Text.h"
#include "loader/pool/PoolState.h"
#include "loader/pool/Readiness.h"
#include "pool/Engine.h"
#include "pool/PoolRepair.h"
#include "pool/Registration.h"
#include "support/PrivateFile.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace fs = std::filesystem;

constexpr size_t kLeast = 2;
constexpr size_t kMost = 16;
constexpr size_t kContainerMegabytes = 1536;  // the limit that deploy/image/run sets

std::unique_ptr<Engine> ChosenEngine(const std::string& what, const PoolWishes& wishes) {
    std::unique_ptr<Engine> engine = RequireEngine(what);
    if (wishes.engine && *wishes.engine != engine->Name()) {
        throw Failure({ExitCode::kPool,
                       what,
                       "the engine at " + std::string(loader::kEngineClient) + " is the " +
                           engine->Name() + " one",
                       "Install the client of the engine that you want there.",
                       {}});
    }
    return engine;
}

size_t MegabytesOfMemory() {
    return static_cast<size_t>(sysconf(_SC_PHYS_PAGES)) *
           (static_cast<size_t>(sysconf(_SC_PAGESIZE)) / 1024) / 1024;
}

// As many containers as there are cores, but no more than the memory allows at their memory limits.
size_t SizeFor(const PoolWishes& wishes, Steps& steps) {
    if (wishes.size) {
        return *wishes.size;
    }
    const size_t cores = std::max(1U, std::thread::hardware_concurrency());
    const size_t memory = MegabytesOfMemory();
    const size_t size = std::clamp(std::min(cores, memory / kContainerMegabytes), kLeast, kMost);
    steps.Tell(loader::Count(size, "container") + ": there are " + loader::Count(cores, "core") +
               " and " + std::to_string(memory) + " MiB of memory, of which a container may take " +
               std::to_string(kContainerMegabytes) + "; at least two are needed");
    return size;
}

std::string ContainerName(size_t number) {
    return loader::kContainerPrefix + std::to_string(number);
}

std::vector<std::string> NamesFor(size_t size) {
    std::vector<std::string> names;
    for (size_t number = 1; number <= size; ++number) {
        names.push_back(ContainerName(number));
    }
    return names;
}

// Adds the containers that run although the state file does not know them any more.
void AddRunning(std::vector<std::string>& names, const Engine& engine) {
    for (const std::string& name : engine.Running()) {
        if (name.starts_with(loader::kContainerPrefix) &&
            std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
}

// The registered containers to take out: those above the size that this command once started, and
// those that the engine does not know.
std::vector<std::string> Unwanted(const std::vector<std::string>& wanted, const Engine& engine) {
    std::vector<std::string> unwanted;
    for (const std::string& name : Registered()) {
        const bool isWanted = std::find(wanted.begin(), wanted.end(), name) != wanted.end();
        if (!isWanted && engine.IsDispensable(name)) {
            unwanted.push_back(name);
        }
    }
    return unwanted;
}

void TakeOut(const std::vector<std::string>& names, bool force, const Engine& engine,
             Steps& steps) {
    for (const std::string& name : Unregister(names, force, steps)) {
        engine.End(name, steps);
    }
}

CommandResult ResultOf(const Steps& steps) {
    CommandResult result{ExitCode::kDone};
    result.json["steps"] = steps.All();
    result.json["containers"] = JsonArray(Registered());
    return result;
}

}  // namespace

CommandResult BringPoolUp(const PoolWishes& wishes, bool json) {
    const std::string what = "cannot bring the pool up";
    loader::CheckRights(what);
    loader::CheckServer(what);
    // Of an earlier version's, others could open the databases and hold locks on them.
    support::KeepForOwner(fs::path(NAVO::VELLUMO::SZF_CONFIG_PATH).parent_path());
    Steps steps(json);
    const std::unique_ptr<Engine> engine = ChosenEngine(what, wishes);
    const bool isLost = RenewLostState(steps);
    std::vector<std::string> names = NamesFor(SizeFor(wishes, steps));
    engine->Prepare(wishes, steps);
    for (const std::string& name : names) {
        engine->Provide(name, wishes, steps);
    }
    if (isLost) {
        AddRunning(names, *engine);
    }
    MendCounts(*engine, steps);
    Register(names, steps);
    TakeOut(Unwanted(names, *engine), false, *engine, steps);
    DropLeftJobs(steps);
    return ResultOf(steps);
}

CommandResult TakePoolDown(const PoolWishes& wishes, bool json) {
    const std::string what = "cannot take the pool down";
    loader::CheckRights(what);
    Steps steps(json);
    const std::unique_ptr<Engine> engine = ChosenEngine(what, wishes);
    TakeOut(Registered(), wishes.force, *engine, steps);
    CommandResult result = ResultOf(steps);
    if (!result.json["containers"].empty()) {
        const Problem problem{ExitCode::kPool,
                              what,
                              "some containers are in use",
                              "Wait for them and run the command again, or end them with --force.",
                              {}};
        result.FailWith(problem);
        if (!json) {
            Print(std::cerr, problem);
        }
    }
    return result;
}

}  // namespace vellumo::cli

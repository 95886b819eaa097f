// SPDX-License-Identifier: Apache-2.0
#include "pool/DockerEngine.h"

#include <filesystem>
#include <iostream>

#include "app/Messages.h"
#include "loader/pool/PoolState.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;
using loader::AskEngine;
using std::chrono::seconds;
using support::Answer;

constexpr seconds kLook(10);  // for output that a person waits for
constexpr seconds kShort(20);
constexpr seconds kStart(60);
constexpr const char* kLabel = "vellumo.pool=yes";

[[noreturn]] void Fail(const std::string& what, const std::string& why, const std::string& next) {
    throw Failure({ExitCode::kPool, what, why, next, {}});
}

void Demand(const std::string& name, const Answer& answer) {
    if (answer.status != 0) {
        Fail("cannot set up " + name, answer.output, "'docker logs " + name + "' may say more.");
    }
}

// The path of the program `name`, which builds the image or starts a container of it.
std::string ImageProgram(const std::string& name) {
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    for (const char* place : {"deploy", VELLUMO_DEPLOY}) {
        const fs::path program = here / place / "image" / name;
        if (fs::exists(program)) {
            return program.lexically_normal();
        }
    }
    Fail("cannot create converter containers",
         "the files to build them are missing from " +
             (here / VELLUMO_DEPLOY).lexically_normal().string(),
         "Install Vellumo again.");
}

// The parent of the scratch directories in a container, which is also their path below the share on
// the volume.
std::string ScratchTree() {
    return fs::path(core::SZF_COVERT_SOURCE_DIR).parent_path().parent_path();
}

std::vector<std::string> RunArguments(const std::string& name, const PoolWishes& wishes) {
    std::string volume;
    if (!core::VolumePathGet(core::SZF_DOCKER_DIR, volume)) {
        Fail("cannot start " + name, "there is no share 'docker' for the scratch files",
             "Add a section [docker] with its path to /etc/samba/smb.conf.");
    }
    std::vector<std::string> arguments{"--image", wishes.image, "--scratch",
                                       volume + core::SZF_DOCKER_DIR + ScratchTree()};
    if (!wishes.engineScratch.empty()) {
        arguments.insert(arguments.end(), {"--engine-scratch", wishes.engineScratch});
    }
    arguments.insert(arguments.end(), {name, "--label", kLabel});
    return arguments;
}

// A property of a container, as 'docker inspect' formats it; "" on failure and for a missing
// container.
std::string Inspect(const std::string& name, const std::string& format, seconds limit = kShort) {
    const Answer answer =
        AskEngine({"inspect", "--type", "container", "--format", format, name}, limit);
    return answer.status == 0 ? answer.output : "";
}

std::string StateOf(const std::string& name) {
    return Inspect(name, "{{.State.Status}}");
}

bool IsOurs(const std::string& name) {
    return Inspect(name, "{{index .Config.Labels \"vellumo.pool\"}}") == "yes";
}

bool CountsAsBusy(const std::string& name) {
    const loader::PoolState pool =
        loader::ReadPool("cannot look at the pool", core::LOCK_TIMEOUT_SECS);
    const loader::Container* container = pool.Find(name);
    return container != nullptr && container->inUse > 0;
}

}  // namespace

void DockerEngine::Prepare(const PoolWishes& wishes, Steps& steps) const {
    const bool present =
        AskEngine({"image", "inspect", "--format", "{{.Id}}", wishes.image}, kShort).status == 0;
    if (present && !wishes.rebuild) {
        return;
    }
    steps.Tell("building the image " + wishes.image + ", which takes some minutes");
    std::cout.flush();
    if (support::RunInSight(ImageProgram("build"), {wishes.image}).status != 0) {
        Fail("cannot build the image " + wishes.image, "the output above shows the reason",
             "Correct that, then run 'vellumo pool up' again.");
    }
}

void DockerEngine::Provide(const std::string& name, const PoolWishes& wishes, Steps& steps) const {
    if (wishes.rebuild && IsOurs(name)) {
        if (CountsAsBusy(name)) {
            steps.Tell(name + ": is in use, kept as it is; call again later");
            return;
        }
        End(name, steps);
    }
    const std::string state = StateOf(name);
    if (state == "running") {
        steps.Tell(name + ": runs already");
        return;
    }
    if (state.empty()) {
        Demand(name, support::Ask(ImageProgram("run"), RunArguments(name, wishes), kStart));
    } else {
        Demand(name, AskEngine({"start", name}, kStart));
    }
    Demand(name, AskEngine({"exec", name, "true"}, kStart));
    steps.Tell(name + ": started");
}

void DockerEngine::End(const std::string& name, Steps& steps) const {
    if (!IsOurs(name)) {
        return;
    }
    Demand(name, AskEngine({"rm", "--force", name}, kStart));
    steps.Tell(name + ": ended");
}

std::vector<std::string> DockerEngine::Running() const {
    return FirstWords(AskEngine(
        {"ps", "--filter", "label=" + std::string(kLabel), "--format", "{{.Names}}"}, kShort));
}

bool DockerEngine::IsDispensable(const std::string& name) const {
    return IsOurs(name) || StateOf(name).empty();
}

bool DockerEngine::RunsCommand(const std::string& name) const {
    return AskEngine({"top", name, "-eo", "pid,args"}, kShort)
               .output.find("timeout --kill-after") != std::string::npos;
}

std::string DockerEngine::HealthOf(const std::string& name) const {
    return Inspect(name, "{{if .State.Health}}{{.State.Health.Status}}{{end}}", kLook);
}

std::string DockerEngine::WhyCold(const std::string& name) const {
    const Answer answer = AskEngine({"exec", name, kOfficeProgram, "state"}, kShort);
    return answer.status == kCannotKeepOffice ? answer.output : "";
}

Condition DockerEngine::ConditionOf(const std::string& name,
                                    const std::vector<loader::RunningCommand>& /*running*/) const {
    const Answer memory =
        AskEngine({"stats", "--no-stream", "--format", "{{.MemUsage}}", name}, kShort);
    const std::string health = HealthOf(name);
    return {health != kUnhealthy, health, memory.status == 0 ? memory.output : "", std::nullopt};
}

}  // namespace vellumo::cli

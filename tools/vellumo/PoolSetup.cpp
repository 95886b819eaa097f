// SPDX-License-Identifier: Apache-2.0
#include "PoolSetup.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "EngineClient.h"
#include "Messages.h"
#include "PoolState.h"
#include "ServerCheck.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;
using Purpose = StateFileVisit::Purpose;
using std::chrono::seconds;

constexpr seconds kShort(20);
constexpr seconds kStart(60);
constexpr size_t kLeast = 2;
constexpr size_t kMost = 16;
constexpr size_t kContainerMegabytes = 1536;  // the limit that deploy/image/run sets
constexpr std::chrono::milliseconds kLook(250);
constexpr const char* kLabel = "vellumo.pool=yes";

// A claim is followed by its command, and a command by the giving back of its claim, after no more
// than the time for which the state file's lock is waited for.
seconds ProofTime() {
    return seconds(core::LOCK_TIMEOUT_SECS + 2);
}

[[noreturn]] void Fail(const std::string& what, const std::string& why, const std::string& next) {
    throw Failure({ExitCode::kPool, what, why, next, {}});
}

// What a step has to say, to people at once.
class Steps {
public:
    explicit Steps(bool json) : _json(json) {}

    void Tell(const std::string& step) {
        _steps.append(step);
        if (!_json) {
            std::cout << Printable(step) << std::endl;
        }
    }
    const Json::Value& All() const { return _steps; }

private:
    bool _json;
    Json::Value _steps{Json::arrayValue};
};

Engine ChosenEngine(const std::string& what, const PoolWishes& wishes) {
    const EngineFacts facts = LookAtEngine();
    if (facts.engine == Engine::kNone) {
        Fail(what, std::string(kEngineClient) + " does not answer: " + facts.version,
             "Start the container engine, or put the embedded one there.");
    }
    const char* const found = facts.engine == Engine::kEmbedded ? "embedded" : "docker";
    if (wishes.engine && *wishes.engine != found) {
        Fail(what, "the engine at " + std::string(kEngineClient) + " is the " + found + " one",
             "Put the engine that you want there.");
    }
    return facts.engine;
}

size_t MegabytesOfMemory() {
    return static_cast<size_t>(sysconf(_SC_PHYS_PAGES)) *
           (static_cast<size_t>(sysconf(_SC_PAGESIZE)) / 1024) / 1024;
}

// As many containers as there are cores, if the memory is enough for all of them at their limits.
size_t SizeFor(const PoolWishes& wishes, Steps& steps) {
    if (wishes.size) {
        return *wishes.size;
    }
    const size_t cores = std::max(1U, std::thread::hardware_concurrency());
    const size_t memory = MegabytesOfMemory();
    const size_t size = std::clamp(std::min(cores, memory / kContainerMegabytes), kLeast, kMost);
    steps.Tell(Count(size, "container") + ": there are " + Count(cores, "core") + " and " +
               std::to_string(memory) + " MiB of memory, of which a container may take " +
               std::to_string(kContainerMegabytes) + "; two are the least that does all work");
    return size;
}

std::string ContainerName(size_t number) {
    return kContainerPrefix + std::to_string(number);
}

// The program that makes the image or starts a container of it.
std::string ImageProgram(const std::string& name) {
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    for (const char* place : {"deploy", VELLUMO_DEPLOY}) {
        const fs::path program = here / place / "image" / name;
        if (fs::exists(program)) {
            return program.lexically_normal();
        }
    }
    Fail("cannot make converter containers",
         "the files for that are missing from " +
             (here / VELLUMO_DEPLOY).lexically_normal().string(),
         "Install Vellumo again.");
}

// Containers that count as busy, with how many commands were ever started in them.
std::map<std::string, int> CountedAsBusy() {
    std::map<std::string, int> busy;
    for (const Container& container :
         ReadPool("cannot look at the pool", core::LOCK_TIMEOUT_SECS).containers) {
        if (container.inUse > 0) {
            busy[container.name] = container.used;
        }
    }
    return busy;
}

// Where a container sees the scratch directories, which is also where they lie below their place on
// the volume.
std::string ScratchTree() {
    return fs::path(core::SZF_COVERT_SOURCE_DIR).parent_path().parent_path();
}

// The containers of a real engine.
class DockerContainers {
public:
    DockerContainers(const PoolWishes& wishes, Steps& steps) : _wishes(wishes), _steps(steps) {}

    void ProvideImage() {
        const bool present =
            AskEngine({"image", "inspect", "--format", "{{.Id}}", _wishes.image}, kShort).status ==
            0;
        if (present && !_wishes.rebuild) {
            return;
        }
        _steps.Tell("building the image " + _wishes.image + ", which takes some minutes");
        if (RunInSight(ImageProgram("build"), {_wishes.image}).status != 0) {
            Fail("cannot build the image " + _wishes.image, "see above",
                 "Mend that, and call 'vellumo pool up' again.");
        }
    }

    void Provide(const std::string& name) {
        if (_wishes.rebuild && IsOurs(name)) {
            if (CountedAsBusy().contains(name)) {
                _steps.Tell(name + ": is in use, kept as it is; call again later");
                return;
            }
            Remove(name);
        }
        const std::string state = StateOf(name);
        if (state == "running") {
            _steps.Tell(name + ": runs already");
            return;
        }
        if (state.empty()) {
            Demand(name, Ask(ImageProgram("run"), RunArguments(name), kStart));
        } else {
            Demand(name, AskEngine({"start", name}, kStart));
        }
        Demand(name, AskEngine({"exec", name, "true"}, kStart));
        _steps.Tell(name + ": started");
    }

    // "" for one that does not exist.
    static std::string StateOf(const std::string& name) {
        const Answer answer = AskEngine(
            {"inspect", "--type", "container", "--format", "{{.State.Status}}", name}, kShort);
        return answer.status == 0 ? answer.output : "";
    }

    static bool IsOurs(const std::string& name) {
        const Answer answer = AskEngine({"inspect", "--type", "container", "--format",
                                         "{{index .Config.Labels \"vellumo.pool\"}}", name},
                                        kShort);
        return answer.status == 0 && answer.output == "yes";
    }

    void Remove(const std::string& name) {
        Demand(name, AskEngine({"rm", "--force", name}, kStart));
        _steps.Tell(name + ": ended");
    }

    // A command may go on in the container after its client has died.
    static bool RunsSomething(const std::string& name) {
        return AskEngine({"top", name, "-eo", "pid,args"}, kShort)
                   .output.find("timeout --kill-after") != std::string::npos;
    }

private:
    std::vector<std::string> RunArguments(const std::string& name) const {
        std::string volume;
        if (!core::VolumePathGet(core::SZF_DOCKER_DIR, volume)) {
            Fail("cannot start " + name, "there is no share 'docker' for the scratch files",
                 "Add a section [docker] with its path to /etc/samba/smb.conf.");
        }
        std::vector<std::string> arguments{"--image", _wishes.image, "--scratch",
                                           volume + core::SZF_DOCKER_DIR + ScratchTree()};
        if (!_wishes.engineScratch.empty()) {
            arguments.insert(arguments.end(), {"--engine-scratch", _wishes.engineScratch});
        }
        arguments.insert(arguments.end(), {name, "--label", kLabel});
        return arguments;
    }

    static void Demand(const std::string& name, const Answer& answer) {
        if (answer.status != 0) {
            Fail("cannot set up " + name, answer.output,
                 "'docker logs " + name + "' may tell more.");
        }
    }

    const PoolWishes& _wishes;
    Steps& _steps;
};

// The sandboxes of the embedded engine, which makes one for each command. What can be provided for
// a name is an office that stays warm.
class Sandboxes {
public:
    Sandboxes(const PoolWishes& wishes, Steps& steps) : _wishes(wishes), _steps(steps) {}

    void Provide(const std::string& name) {
        if (KeeperOfOffice(name)) {
            if (!_wishes.rebuild) {
                _steps.Tell(name + ": its office is warm already");
                return;
            }
            End(name);  // what runs in it goes on with an office of its own
        }
        const Answer answer = AskEngine({"start", name}, kStart);
        _steps.Tell(answer.status == 0
                        ? name + ": its office is warm"
                        : name + ": each document gets an office of its own: " + answer.output);
    }

    static void End(const std::string& name) {
        const Answer answer = AskEngine({"stop", name}, kStart);
        if (answer.status != 0) {
            Fail("cannot end the office of " + name, answer.output,
                 "Call the command again once '" + std::string(kEngineClient) + " stop " + name +
                     "' succeeds.");
        }
    }

private:
    const PoolWishes& _wishes;
    Steps& _steps;
};

std::set<std::string> ContainersWithAClient() {
    std::set<std::string> containers;
    for (const RunningCommand& command : RunningCommands()) {
        containers.insert(command.container);
    }
    return containers;
}

// Forgets those in which something runs, or may have run.
void KeepIdle(std::map<std::string, int>& candidates, Engine engine) {
    const std::set<std::string> busy = ContainersWithAClient();
    std::erase_if(candidates, [&](const auto& candidate) {
        return busy.contains(candidate.first) ||
               (engine == Engine::kDocker && DockerContainers::RunsSomething(candidate.first));
    });
}

// Those that have counted as busy for so long that a command would have been seen. `candidates` are
// looked at until the time is over, or none is left.
std::map<std::string, int> ProvablyIdle(Engine engine) {
    std::map<std::string, int> candidates = CountedAsBusy();
    const auto end = std::chrono::steady_clock::now() + ProofTime();
    KeepIdle(candidates, engine);
    while (!candidates.empty() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kLook);
        KeepIdle(candidates, engine);
    }
    return candidates;
}

void MendCounts(Engine engine, Steps& steps) {
    const std::map<std::string, int> idle = ProvablyIdle(engine);
    if (idle.empty()) {
        return;
    }
    StateFileVisit visit(Purpose::kChange, "cannot set counts right", core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    const PoolState pool = PoolState::Of(visit.Document());
    for (const auto& [name, used] : idle) {
        const Container* container = pool.Find(name);
        // One that was claimed meanwhile may be about to start its command.
        if (container != nullptr && container->inUse > 0 && container->used == used) {
            visit.Document()[name]["using"] = 0;
            steps.Tell(name + ": counted as busy, and nothing runs in it; set right");
        }
    }
    visit.Save();
}

// The jobs that a crash would leave, as long as nothing runs and nothing is begun: all that count
// as running, and those waiting that are next in turn, since a free container is theirs.
struct IdleJobs {
    std::vector<std::string> running;
    size_t level = 0;  // the most urgent one at which jobs wait
    std::vector<std::string> waiting;
    int begun = 0;  // commands ever started

    bool IsEmpty() const { return running.empty() && waiting.empty(); }
};

// None while a container is in use.
IdleJobs JobsWithoutContainer(const PoolState& pool) {
    IdleJobs jobs;
    for (const Container& container : pool.containers) {
        if (container.inUse > 0) {
            return {};
        }
        jobs.begun += container.used;
    }
    jobs.running = pool.running;
    for (size_t level = pool.waiting.size(); level-- > 0 && jobs.waiting.empty();) {
        jobs.level = level;
        jobs.waiting = pool.waiting.at(level);
    }
    return jobs;
}

// Forgets what has ended or come, and everything as soon as something was begun.
void KeepCommon(IdleJobs& jobs, const IdleJobs& now) {
    if (now.begun != jobs.begun) {
        jobs = {};
        return;
    }
    const auto isGone = [](const std::vector<std::string>& left) {
        return [&left](const std::string& key) {
            return std::find(left.begin(), left.end(), key) == left.end();
        };
    };
    std::erase_if(jobs.running, isGone(now.running));
    if (jobs.level != now.level) {
        jobs.waiting.clear();
    }
    std::erase_if(jobs.waiting, isGone(now.waiting));
}

// Those that have stayed for so long that their processes would have begun, or ended, them.
IdleJobs ProvablyLeft() {
    const auto look = [] {
        return JobsWithoutContainer(ReadPool("cannot look for left jobs", core::LOCK_TIMEOUT_SECS));
    };
    IdleJobs jobs = look();
    const auto end = std::chrono::steady_clock::now() + ProofTime();
    while (!jobs.IsEmpty() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kLook);
        KeepCommon(jobs, look());
    }
    return jobs;
}

// Tells whether there was something to drop.
bool DropLeft(Steps& steps) {
    IdleJobs jobs = ProvablyLeft();
    if (jobs.IsEmpty()) {
        return false;
    }
    StateFileVisit visit(Purpose::kChange, "cannot drop jobs", core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    KeepCommon(jobs, JobsWithoutContainer(PoolState::Of(visit.Document())));
    if (jobs.IsEmpty()) {
        return false;
    }
    for (const std::string& key : jobs.running) {
        visit.Document()["runningQueue"].removeMember(key);
        steps.Tell("counted as running, and nothing runs; dropped: " + key);
    }
    for (const std::string& key : jobs.waiting) {
        const auto level = static_cast<Json::ArrayIndex>(jobs.level);
        visit.Document()["waitingQueue"][level].removeMember(key);
        steps.Tell("counted as waiting, and nobody waits; dropped: " + key);
    }
    visit.Save();
    return true;
}

// Level by level: while a job of one waits, none below it gets its turn.
void DropLeftJobs(Steps& steps) {
    while (DropLeft(steps)) {
    }
}

void Register(const std::vector<std::string>& names, Steps& steps) {
    StateFileVisit visit(Purpose::kChange, "cannot register containers", core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    for (const std::string& name : names) {
        Json::Value& entry = visit.Document()[name];
        if (!entry.isObject()) {
            entry = NewContainer();
            steps.Tell(name + ": registered");
        }
    }
    visit.Save();
}

// Takes what is idle of `names` out of the pool; says so of what is not, unless `force`. Returns
// what was taken out, in which nothing will be started any more.
std::vector<std::string> Unregister(const std::vector<std::string>& names, bool force,
                                    Steps& steps) {
    std::vector<std::string> taken;
    StateFileVisit visit(Purpose::kChange, "cannot take containers out of the pool",
                         core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    const PoolState pool = PoolState::Of(visit.Document());
    for (const std::string& name : names) {
        const Container* container = pool.Find(name);
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
    for (const Container& container :
         ReadPool("cannot look at the pool", core::LOCK_TIMEOUT_SECS).containers) {
        names.push_back(container.name);
    }
    return names;
}

// The registered ones that are not wanted: those above the size that this command once made, and
// those that the engine does not know.
std::vector<std::string> Unwanted(const std::vector<std::string>& wanted, Engine engine) {
    std::vector<std::string> unwanted;
    for (const std::string& name : Registered()) {
        if (std::find(wanted.begin(), wanted.end(), name) != wanted.end()) {
            continue;
        }
        if (engine == Engine::kEmbedded || DockerContainers::IsOurs(name) ||
            DockerContainers::StateOf(name).empty()) {
            unwanted.push_back(name);
        }
    }
    return unwanted;
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
    CheckRights(what);
    CheckServer(what);
    Steps steps(json);
    const Engine engine = ChosenEngine(what, wishes);
    const size_t size = SizeFor(wishes, steps);
    DockerContainers containers(wishes, steps);
    Sandboxes sandboxes(wishes, steps);
    if (engine == Engine::kDocker) {
        containers.ProvideImage();
    }
    std::vector<std::string> names;
    for (size_t number = 1; number <= size; ++number) {
        names.push_back(ContainerName(number));
        if (engine == Engine::kDocker) {
            containers.Provide(names.back());
        } else {
            sandboxes.Provide(names.back());
        }
    }
    MendCounts(engine, steps);
    Register(names, steps);
    for (const std::string& gone : Unregister(Unwanted(names, engine), false, steps)) {
        if (engine == Engine::kEmbedded) {
            Sandboxes::End(gone);
        } else if (DockerContainers::IsOurs(gone)) {
            containers.Remove(gone);
        }
    }
    // When the pool is whole: without its containers also a job that somebody waits for stays.
    DropLeftJobs(steps);
    return ResultOf(steps);
}

CommandResult TakePoolDown(const PoolWishes& wishes, bool json) {
    const std::string what = "cannot take the pool down";
    CheckRights(what);
    Steps steps(json);
    const Engine engine = ChosenEngine(what, wishes);
    DockerContainers containers(wishes, steps);
    for (const std::string& name : Unregister(Registered(), wishes.force, steps)) {
        if (engine == Engine::kEmbedded) {
            Sandboxes::End(name);
        } else if (DockerContainers::IsOurs(name)) {
            containers.Remove(name);
        }
    }
    CommandResult result = ResultOf(steps);
    if (!result.json["containers"].empty()) {
        const Problem problem{ExitCode::kPool,
                              what,
                              "some containers are in use",
                              "Wait for them and call again, or end them with --force.",
                              {}};
        result.code = problem.code;
        result.json["error"] = ToJson(problem);
        if (!json) {
            Print(std::cerr, problem);
        }
    }
    return result;
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#include "pool/PoolCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iomanip>
#include <iostream>

#include "app/Messages.h"
#include "loader/Text.h"
#include "loader/pool/PoolState.h"
#include "loader/pool/StateFileVisit.h"
#include "pool/Doctor.h"
#include "pool/PoolStatus.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
using Purpose = loader::StateFileVisit::Purpose;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo pool up       start the containers and register them; do this first\n"
    "  vellumo pool doctor   check everything, and convert a small document with every tool\n"
    "  vellumo pool          list the containers, the waiting and the running jobs\n"
    "  vellumo pool status   show whether each container answers, what runs, how much memory it "
    "uses\n"
    "  vellumo pool down     end the containers and take them out of the pool\n"
    "The pool needs at least two containers: the first one by name never takes page ranges and\n"
    "thumbnails. 'vellumo pool up' also corrects what a crash left behind. 'add' and 'remove' are "
    "for\n"
    "containers that you start yourself.";

constexpr const char* kUpExamples =
    "Examples:\n"
    "  vellumo pool up             start navo1, navo2 ..., as many as cores and memory allow\n"
    "  vellumo pool up --size 4    start navo1 to navo4\n"
    "  vellumo pool up --rebuild   build the image again, and replace the containers that are "
    "idle\n"
    "With a container engine such as Docker, the image is built first if it is missing, which "
    "takes\n"
    "some minutes. With the embedded engine, each container is a name with a warm office.\n"
    "Running containers are left alone, so you may repeat the command at any time: it starts what "
    "is\n"
    "missing, corrects the counts of containers that only seem busy, and drops the jobs of a "
    "crash.";

constexpr const char* kDownExamples =
    "Examples:\n"
    "  vellumo pool down           end the containers; those in use are kept\n"
    "  vellumo pool down --force   end those in use, too\n"
    "Containers that you created yourself leave the pool but go on running.";

constexpr const char* kAddExamples =
    "Examples:\n"
    "  vellumo pool add navo1 navo2   register two containers that you have started yourself\n"
    "'vellumo pool up' starts and registers its containers by itself. The name of a container\n"
    "begins with 'navo'. The pool needs at least two containers: the first one by name never "
    "takes\n"
    "page ranges and thumbnails.";

constexpr const char* kRemoveExamples =
    "Examples:\n"
    "  vellumo pool remove navo2           take navo2 out of the pool; it goes on running\n"
    "  vellumo pool remove --force navo2   even if it counts as busy\n"
    "To correct the count of a container that only seems busy after a crash: vellumo pool up";

constexpr const char* kResetExamples =
    "Examples:\n"
    "  vellumo pool reset         restore the factory default if nothing is lost by that\n"
    "  vellumo pool reset --yes   restore it in any case\n"
    "Afterwards 'vellumo pool up' starts and registers the containers again.";

constexpr size_t kShownJobs = 10;

// The most urgent first, as people want to read them.
struct PriorityName {
    size_t priority;
    const char* name;
};
constexpr PriorityName kPriorities[] = {{2, "high"}, {1, "normal"}, {0, "low"}};

bool IsAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool IsNameCharacter(char c) {
    return IsAlphanumeric(c) || c == '_' || c == '.' || c == '-';
}

// A check for CLI11: "" when a container of the pool may have this name, else the error.
std::string CheckContainerName(const std::string& name) {
    if (!name.starts_with(loader::kContainerPrefix)) {
        return "'" + name + "' cannot be a container of the pool: the name must begin with '" +
               loader::kContainerPrefix + "'";
    }
    if (!std::all_of(name.begin(), name.end(), IsNameCharacter)) {
        return "'" + name +
               "' cannot be a container's name: letters, digits, '_', '.' and '-' only";
    }
    return "";
}

Json::Value ContainersJson(const loader::PoolState& pool) {
    Json::Value containers(Json::arrayValue);
    for (const loader::Container& container : pool.containers) {
        Json::Value entry(Json::objectValue);
        entry["name"] = container.name;
        entry["using"] = container.inUse;
        entry["used"] = container.used;
        containers.append(entry);
    }
    return containers;
}

Json::Value ToJson(const loader::PoolState& pool) {
    Json::Value value(Json::objectValue);
    value["stateFile"] = core::SZF_CONFIG_PATH;
    value["containers"] = ContainersJson(pool);
    for (const PriorityName& level : kPriorities) {
        value["waiting"][level.name] = JsonArray(pool.waiting.at(level.priority));
    }
    value["running"] = JsonArray(pool.running);
    return value;
}

void PrintContainers(const loader::PoolState& pool) {
    if (pool.containers.empty()) {
        std::cout << "No container is registered. Start some: vellumo pool up\n";
        return;
    }
    std::cout << std::left << std::setw(24) << "CONTAINER" << std::right << std::setw(6) << "USING"
              << std::setw(10) << "USED" << '\n';
    for (const loader::Container& container : pool.containers) {
        std::cout << std::left << std::setw(24) << Printable(container.name) << std::right
                  << std::setw(6) << container.inUse << std::setw(10) << container.used << '\n';
    }
}

void PrintJobs(const std::string& title, const std::vector<std::string>& jobs) {
    std::cout << title << ": " << jobs.size() << '\n';
    for (size_t i = 0; i < std::min(jobs.size(), kShownJobs); ++i) {
        std::cout << "  " << Printable(jobs[i]) << '\n';
    }
    if (jobs.size() > kShownJobs) {
        std::cout << "  ... and " << jobs.size() - kShownJobs << " more (--json shows all)\n";
    }
}

void Print(const loader::PoolState& pool) {
    PrintContainers(pool);
    for (const PriorityName& level : kPriorities) {
        PrintJobs(std::string("Waiting, ") + level.name, pool.waiting.at(level.priority));
    }
    PrintJobs("Running", pool.running);
}

void PrintAdvice(const loader::PoolState& pool) {
    if (pool.containers.size() == 1) {
        std::cout << "This is the only container, and the first one by name never takes page "
                     "ranges and\nthumbnails. Add a second one: vellumo pool add "
                  << (pool.containers.front().name == "navo2" ? "navo1" : "navo2") << '\n';
    }
}

[[noreturn]] void RefuseChange(const std::string& what, const std::string& why,
                               const std::string& next) {
    throw Failure({ExitCode::kPool, what, why, next, {}});
}

// Called for all names before one is removed, so that a refusal changes nothing.
void CheckRemovable(const loader::PoolState& pool, const std::string& name, bool force) {
    const loader::Container* container = pool.Find(name);
    const std::string what = "cannot remove " + name;
    if (container == nullptr) {
        RefuseChange(what, "no container of this name is registered; nothing was changed",
                     "'vellumo pool' lists the containers.");
    }
    if (container->inUse > 0 && !force) {
        RefuseChange(what,
                     "it is in use (\"using\" is " + std::to_string(container->inUse) +
                         "); nothing was changed",
                     "Wait until its command has ended. If none runs in it, as after a crash, "
                     "'vellumo pool up' corrects the count; --force removes it in any case.");
    }
}

// The number of members of the file that do not belong to the pool.
size_t OtherMembers(const Json::Value& document) {
    const std::vector<std::string> names = document.getMemberNames();
    return static_cast<size_t>(
        std::count_if(names.begin(), names.end(), [](const std::string& name) {
            return !name.starts_with(loader::kContainerPrefix) && name != "waitingQueue" &&
                   name != "runningQueue";
        }));
}

// What a reset would drop from the state file, for people; "" if nothing.
std::string Losses(loader::StateFileVisit& visit) {
    if (visit.IsDamaged()) {
        return "content that is not a JSON object";
    }
    const loader::PoolState pool = loader::PoolState::Of(visit.Document());
    std::string losses;
    const auto add = [&losses](size_t number, const std::string& noun) {
        if (number != 0) {
            losses += (losses.empty() ? "" : ", ") + loader::Count(number, noun);
        }
    };
    add(pool.containers.size(), "container");
    add(pool.Waiting(), "waiting job");
    add(pool.running.size(), "running job");
    add(OtherMembers(visit.Document()), "other member");
    return losses;
}

}  // namespace

PoolCommand::PoolCommand(CLI::App& app)
    : ActionCommand(
          app.add_subcommand("pool", "Set up and show the pool of converter containers")) {
    Arguments()->footer(kExamples);
    Arguments()->require_subcommand(0, 1);
    AddList();
    AddUp();
    AddDown();
    AddAction("status", "Show whether each container answers, and what runs in it",
              [this] { return ShowPoolStatus(Json()); });
    AddAction("doctor", "Check everything that a conversion needs, and say what to mend",
              [this] { return ExaminePool(Json()); });
    AddAdd();
    AddRemove();
    AddReset();
}

void PoolCommand::AddList() {
    AddAction("list", "List containers, waiting and running jobs (the default)",
              [this] { return List(); });
}

void PoolCommand::AddAdd() {
    CLI::App* arguments = AddAction("add", "Register containers that you have started yourself",
                                    [this] { return Register(); });
    arguments->footer(kAddExamples);
    arguments->add_option("NAME", _names, "Their names in the container engine, as in navo1 navo2")
        ->required()
        ->check(CheckContainerName)
        ->option_text("...");
}

void PoolCommand::AddRemove() {
    CLI::App* arguments =
        AddAction("remove", "Take containers out of the pool", [this] { return Remove(); });
    arguments->footer(kRemoveExamples);
    arguments->add_option("NAME", _names, "Registered containers")->required()->option_text("...");
    arguments->add_flag("--force", _force, "Remove them even if they count as busy");
}

void PoolCommand::AddReset() {
    CLI::App* arguments = AddAction("reset", "Restore the factory default of the state file",
                                    [this] { return Reset(); });
    arguments->footer(kResetExamples);
    arguments->add_flag("--yes", _yes, "Restore it even if containers or jobs are lost");
}

void PoolCommand::AddUp() {
    CLI::App* arguments = AddAction("up", "Start the converter containers and register them",
                                    [this] { return BringPoolUp(_wishes, Json()); });
    arguments->footer(kUpExamples);
    arguments
        ->add_option("--size", _wishes.size,
                     "Number of containers; default: as cores and memory allow")
        ->check(CLI::Range(2, 64))
        ->option_text("N");
    arguments
        ->add_option("--engine", _wishes.engine,
                     "Require this engine, docker or embedded; default: any")
        ->check(CLI::IsMember({"docker", "embedded"}))
        ->option_text("NAME");
    arguments->add_option("--image", _wishes.image, "Name of the image; default: " + _wishes.image)
        ->check(CheckGiven)
        ->option_text("IMAGE");
    arguments
        ->add_option("--engine-scratch", _wishes.engineScratch,
                     "Path of the scratch tree as the engine sees it, for an engine on\n"
                     "another machine; default: its path here")
        ->check(CheckGiven)
        ->option_text("DIR");
    arguments->add_flag("--rebuild", _wishes.rebuild,
                        "Build the image again, and replace idle containers or offices");
}

void PoolCommand::AddDown() {
    CLI::App* arguments =
        AddAction("down", "End the converter containers and take them out of the pool",
                  [this] { return TakePoolDown(_wishes, Json()); });
    arguments->footer(kDownExamples);
    arguments->add_flag("--force", _wishes.force, "End those that are in use, too");
}

CommandResult PoolCommand::List() const {
    const loader::PoolState pool =
        loader::ReadPool("cannot list the pool", core::LOCK_TIMEOUT_SECS);
    if (!Json()) {
        Print(pool);
    }
    return {ExitCode::kDone, ToJson(pool)};
}

CommandResult PoolCommand::Register() const {
    loader::StateFileVisit visit(Purpose::kChange, "cannot register containers",
                                 core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    CommandResult result{ExitCode::kDone, Json::Value(Json::objectValue)};
    std::string told;
    for (const std::string& name : _names) {
        const bool kept = visit.Document()[name].isObject();
        if (!kept) {
            visit.Document()[name] = loader::NewContainer();
        }
        result.json["changes"][name] = kept ? "kept" : "registered";
        told += name + (kept ? ": registered already, kept as it is\n" : ": registered\n");
    }
    visit.Save();
    const loader::PoolState pool = loader::PoolState::Of(visit.Document());
    result.json["containers"] = ContainersJson(pool);
    if (!Json()) {
        std::cout << told;
        PrintAdvice(pool);
    }
    return result;
}

CommandResult PoolCommand::Remove() const {
    loader::StateFileVisit visit(Purpose::kChange, "cannot remove containers",
                                 core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    const loader::PoolState before = loader::PoolState::Of(visit.Document());
    for (const std::string& name : _names) {
        CheckRemovable(before, name, _force);
    }
    for (const std::string& name : _names) {
        visit.Document().removeMember(name);
    }
    visit.Save();
    CommandResult result{ExitCode::kDone, Json::Value(Json::objectValue)};
    result.json["removed"] = JsonArray(_names);
    result.json["containers"] = ContainersJson(loader::PoolState::Of(visit.Document()));
    if (!Json()) {
        for (const std::string& name : _names) {
            std::cout << name << ": removed\n";
        }
    }
    return result;
}

CommandResult PoolCommand::Reset() const {
    loader::StateFileVisit visit(Purpose::kChange, "cannot reset the pool",
                                 core::LOCK_TIMEOUT_SECS);
    const std::string losses = Losses(visit);
    if (!losses.empty() && !_yes) {
        RefuseChange("cannot reset the pool", "this would drop " + losses,
                     "Confirm with 'vellumo pool reset --yes'; then register the containers with "
                     "'vellumo pool up'.");
    }
    CommandResult result{ExitCode::kDone, Json::Value(Json::objectValue)};
    result.json["dropped"] =
        visit.IsDamaged() ? Json::Value() : ToJson(loader::PoolState::Of(visit.Document()));
    visit.Reset();
    if (!Json()) {
        std::cout << "The factory default is restored. Dropped: "
                  << (losses.empty() ? "nothing" : losses) << ".\n"
                  << "Start and register the containers next: vellumo pool up\n";
    }
    return result;
}

}  // namespace vellumo::cli

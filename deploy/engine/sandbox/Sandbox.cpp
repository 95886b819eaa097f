// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Sandbox.h"

#include <unistd.h>

#include <filesystem>

#include "Failure.h"
#include "sandbox/Interior.h"
#include "sandbox/Limits.h"
#include "sandbox/SystemCallFilter.h"
#include "vellumo/Constants.h"

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBubblewrap = "/usr/bin/bwrap";

// The bubblewrap program and the descriptors that it gets.
Words Bubblewrap() {
    return {kBubblewrap, "--json-status-fd", std::to_string(kReportsDescriptor), "--seccomp",
            std::to_string(kPassedDescriptor)};
}

Words Isolation() {
    Words words{"--cap-drop", "ALL"};
    for (const char* option : {"--unshare-ipc", "--unshare-pid", "--unshare-net", "--unshare-uts",
                               "--unshare-cgroup-try", "--new-session", "--die-with-parent"}) {
        words.emplace_back(option);
    }
    if (geteuid() != 0) {
        Append(words, {"--unshare-user", "--uid", "0", "--gid", "0"});
    }
    return words;
}

// bubblewrap creates the parent directories of a mount point with access for root alone. These
// options create them so that every user may enter them.
Words OnTheWayTo(const fs::path& place) {
    Words words;
    fs::path directory = "/";
    for (const fs::path& name : place.parent_path().relative_path()) {
        directory /= name;
        Append(words, {"--dir", directory});
    }
    return words;
}

Words PlacesOf(const SandboxPlan& plan) {
    Words words;
    for (const SandboxPlan::Place& place : plan.places) {
        Append(words, OnTheWayTo(place.inside));
        Append(words, {place.isWritable ? "--bind" : "--ro-bind", place.outside, place.inside});
    }
    return words;
}

// Only the memory file systems and the directories bound with --bind stay writable.
Words Sealing() {
    return {"--remount-ro", "/dev", "--remount-ro", "/"};
}

Words EnvironmentOf(const SandboxPlan& plan) {
    Words words;
    for (const SandboxPlan::Variable& variable : plan.environment) {
        Append(words, {"--setenv", variable.name, variable.value});
    }
    return words;
}

Words PowersOf(const SandboxPlan& plan) {
    Words words;
    for (const std::string& power : plan.powers) {
        Append(words, {"--cap-add", power});
    }
    return words;
}

// The program that starts the command in the sandbox. A root without capabilities still owns root's
// files; another user does not.
Words Starter(std::optional<uid_t> user) {
    Words words;
    if (user) {
        Append(words, {"--cap-add", "CAP_SETUID", "--cap-add", "CAP_SETGID"});
    }
    Append(words, {"--", "setpriv", "--no-new-privs"});
    if (user) {
        const std::string id = std::to_string(*user);
        Append(words, {"--reuid=" + id, "--regid=" + id, "--clear-groups", "--inh-caps=-all"});
    }
    words.emplace_back("--");
    return words;
}

// bubblewrap reports an exit status only if it has started the command.
bool WasStarted(const Ending& ending) {
    return ending.reports.find("\"exit-code\"") != std::string::npos;
}

}  // namespace

int RunInSandbox(const SandboxPlan& plan, ChildProcess& child) {
    if (access(kBubblewrap, X_OK) != 0) {
        throw Failure(kEngineFailed, "bubblewrap is missing; install the package bubblewrap");
    }
    const SystemCallFilter filter;
    const Limits limits;
    Words words = Bubblewrap();
    for (const Words& part :
         {Isolation(), Interior(), PlacesOf(plan), Sealing(), EnvironmentOf(plan), PowersOf(plan),
          Starter(plan.user), plan.command}) {
        Append(words, part);
    }
    const Ending ending = child.Run(
        {.argv = words, .prepare = [&limits] { limits.Enter(); }, .passed = filter.Get()});
    if (ending.status < kKilled && !WasStarted(ending)) {
        throw Failure(kEngineFailed,
                      "the command was not started, see above; if namespaces are not permitted "
                      "here, allow them for this machine or container");
    }
    return ending.status;
}

int RunInSandbox(const Words& command, const PrivateScratch& scratch, ChildProcess& child) {
    using NAVO::VELLUMO::SZF_COVERT_SOURCE_DIR;
    using NAVO::VELLUMO::SZF_COVERT_TARGET_DIR;
    const SandboxPlan plan{.places = {{scratch.Source(), SZF_COVERT_SOURCE_DIR, false},
                                      {scratch.Target(), SZF_COVERT_TARGET_DIR, true}},
                           .user = scratch.User(),
                           .command = command};
    return RunInSandbox(plan, child);
}

}  // namespace vellumo::engine

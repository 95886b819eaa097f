// SPDX-License-Identifier: Apache-2.0
#include "warm/WarmKeeper.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <iterator>
#include <utility>

#include "Failure.h"
#include "sandbox/ChildProcess.h"
#include "sandbox/Sandbox.h"
#include "scratch/Scratch.h"
#include "support/Descriptor.h"
#include "warm/WarmPlace.h"

namespace vellumo::engine {
namespace {

using support::Descriptor;

// Variables of the engine's environment that vellumo-office gets too: they set its limits.
constexpr const char* kPassedOn[] = {"VELLUMO_OFFICE_AT_ONCE", "VELLUMO_OFFICE_SPARES",
                                     "VELLUMO_OFFICE_DEADLINE", "VELLUMO_OFFICE_MEMORY",
                                     "VELLUMO_OFFICE_SPACE"};

// vellumo-office needs these to give each fork a room and a user of its own, to read and remove its
// files, and to end it.
constexpr const char* kPowers[] = {"CAP_SETUID", "CAP_SETGID", "CAP_KILL", "CAP_CHOWN",
                                   "CAP_DAC_OVERRIDE"};

SandboxPlan PlanFor(const WarmPlace& place, const UserBlock& users) {
    SandboxPlan plan{.places = {{place.Run(), place.Run(), true}},
                     .environment = {{"VELLUMO_OFFICE_SOCKET", place.Socket()},
                                     {"VELLUMO_USERS", std::to_string(users.Number())}},
                     .command = {"/opt/vellumo/warm/keep-office"}};
    for (const char* variable : kPassedOn) {
        if (const char* value = std::getenv(variable)) {
            plan.environment.push_back({variable, value});
        }
    }
    if (users.User()) {
        plan.powers.assign(std::begin(kPowers), std::end(kPowers));
    }
    return plan;
}

// A caller may read this process's output until its end, or remove its working directory.
void LeaveCaller() {
    static_cast<void>(chdir("/"));
    const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(nothing.Get(), standard);
    }
}

// Checks in an ordinary sandbox that an office can be kept. The program writes the reason to
// standard error if not; the keeper's own standard error leads to /dev/null later.
void TryOffice(const ScratchTree& tree, ChildProcess& child) {
    const PrivateScratch scratch(tree.above);
    const int status =
        RunInSandbox({"/opt/vellumo/office/vellumo-office", "check"}, scratch, child);
    if (status != 0) {
        throw Failure(kEngineFailed,
                      "no office can be kept warm, so each document gets an office of its own; "
                      "install libreoffice-writer, -calc, -impress and -draw of Debian 12");
    }
}

// Creates a warm place, and removes it with all its contents at the end.
class KeptPlace {
public:
    explicit KeptPlace(WarmPlace place) : _place(std::move(place)) { _place.Make(); }
    ~KeptPlace() {
        if (_place.IsOwn()) {
            _place.Remove();
        }
    }
    KeptPlace(const KeptPlace&) = delete;
    KeptPlace& operator=(const KeptPlace&) = delete;

    const WarmPlace& Get() const { return _place; }

private:
    WarmPlace _place;
};

void Keep(const ScratchTree& tree, const std::string& name) {
    ChildProcess child;
    TryOffice(tree, child);
    const UserBlock users(tree.above);
    const KeptPlace place(WarmPlace(tree.above, name));
    LeaveCaller();
    try {
        RunInSandbox(PlanFor(place.Get(), users), child);
    } catch (const Failure&) {
        return;  // no one reads a message any more; the caller notices that this process ends
    }
}

}  // namespace

void BecomeKeeper(const ScratchTree& tree, const std::string& name) {
    close_range(STDERR_FILENO + 1, ~0U, 0);
    setsid();
    int status = 0;
    try {
        Keep(tree, name);
    } catch (const Failure& failure) {
        std::cerr << "vellumo-engine: " << failure.what() << '\n';
        status = failure.Status();
    } catch (const std::exception& error) {
        std::cerr << "vellumo-engine: " << error.what() << '\n';
        status = kEngineFailed;
    }
    _exit(status);
}

}  // namespace vellumo::engine

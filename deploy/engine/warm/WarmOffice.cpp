// SPDX-License-Identifier: Apache-2.0
#include "warm/WarmOffice.h"

#include <poll.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include <sys/pidfd.h>  // glibc 2.36 has it for C alone
}

#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <optional>
#include <vector>

#include "Failure.h"
#include "support/ChildProcess.h"
#include "support/Directory.h"
#include "warm/WarmKeeper.h"
#include "warm/WarmPlace.h"

namespace vellumo::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using support::Descriptor;

constexpr seconds kStartLimit(30);
constexpr seconds kStopLimit(20);
constexpr milliseconds kLook(10);

// Takes the lock that lets one start or stop run at a time; both are short. Closing the descriptor
// releases the lock.
Descriptor TakeTurn(const std::string& above) {
    Descriptor directory = support::OpenDirectory(above);
    if (!directory || flock(directory.Get(), LOCK_EX) != 0) {
        const int error = errno;
        throw SystemFailure("cannot lock " + above, error);
    }
    return directory;
}

// The exit status of a keeper that has ended before its office was ready.
int StatusOfLost(int ending) {
    if (!WIFEXITED(ending) || WEXITSTATUS(ending) == 0) {
        throw Failure(
            kEngineFailed,
            "the office ended during its start; was it stopped, or killed for lack of memory?");
    }
    return WEXITSTATUS(ending);
}

// Waits until the office is ready and returns 0. Returns an exit status when its keeper ends first.
int AwaitStart(const WarmPlace& place, pid_t keeper) {
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    while (!place.IsReady()) {
        if (support::EndsWithin(keeper, kLook)) {
            int ending = 0;
            support::WaitForEnd(keeper, ending);
            return StatusOfLost(ending);
        }
        if (std::chrono::steady_clock::now() > deadline) {
            kill(keeper, SIGTERM);
            throw Failure(kEngineFailed, "the office does not start; is the machine overloaded?");
        }
    }
    return 0;
}

void EndKeeper(pid_t process, const std::string& name) {
    const Descriptor keeper(pidfd_open(process, 0));
    if (!keeper && errno == ESRCH) {
        return;
    }
    if (!keeper || pidfd_send_signal(keeper.Get(), SIGTERM, nullptr, 0) != 0) {
        const int error = errno;
        throw SystemFailure("cannot end the office of " + name, error);
    }
    pollfd ended{keeper.Get(), POLLIN, 0};
    if (poll(&ended, 1, static_cast<int>(milliseconds(kStopLimit).count())) != 1) {
        throw Failure(kEngineFailed, "the office of " + name + " does not end; end process " +
                                         std::to_string(process) + " with SIGKILL");
    }
}

}  // namespace

int StartWarmOffice(const ScratchTree& tree, const std::string& name) {
    const Descriptor turn = TakeTurn(tree.above);
    const WarmPlace place(tree.above, name);
    if (place.Keeper()) {
        return 0;
    }
    place.Remove();
    const pid_t keeper = fork();
    if (keeper == 0) {
        BecomeKeeper(tree, name);
    }
    if (keeper < 0) {
        const int error = errno;
        throw SystemFailure("cannot start a process", error);
    }
    return AwaitStart(place, keeper);
}

void StopWarmOffice(const ScratchTree& tree, const std::string& name) {
    const Descriptor turn = TakeTurn(tree.above);
    const WarmPlace place(tree.above, name);
    if (const std::optional<pid_t> keeper = place.Keeper()) {
        if (*keeper <= 0) {
            throw Failure(kEngineFailed, "the office of " + name +
                                             " is kept by a process that is not visible here; "
                                             "stop it in the device view that started it");
        }
        EndKeeper(*keeper, name);
    }
    place.Remove();
}

int ShowWarmOffices(const ScratchTree& tree, const std::string& name) {
    bool found = false;
    for (const std::string& each :
         name.empty() ? WarmNames(tree.above) : std::vector<std::string>{name}) {
        const std::optional<pid_t> keeper = WarmPlace(tree.above, each).Keeper();
        if (keeper) {
            std::cout << each << " warm " << *keeper << '\n';
            found = true;
        } else if (!name.empty()) {
            std::cout << each << " cold\n";
        }
    }
    return found || name.empty() ? 0 : kNotRunning;
}

}  // namespace vellumo::engine

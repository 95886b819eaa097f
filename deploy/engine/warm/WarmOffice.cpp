// SPDX-License-Identifier: Apache-2.0
#include "warm/WarmOffice.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
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
#include <thread>
#include <utility>

#include "Failure.h"
#include "sandbox/ChildProcess.h"
#include "sandbox/Sandbox.h"
#include "support/Descriptor.h"
#include "warm/WarmPlace.h"

namespace vellumo::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using support::Descriptor;

constexpr seconds kStartLimit(30);
constexpr seconds kStopLimit(20);
constexpr milliseconds kLook(10);

// Starts and stops are one at a time; they are short. The lock ends with the object.
Descriptor TakeTurn(const std::string& above) {
    const int directory = open(above.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0 || flock(directory, LOCK_EX) != 0) {
        throw SystemFailure("cannot lock " + above, errno);
    }
    return Descriptor(directory);
}

// A caller may wait for the end of what it reads from this process, or remove its directory.
void LeaveCaller() {
    static_cast<void>(chdir("/"));
    const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(nothing.Get(), standard);
    }
}

// Tells on standard error, in an ordinary sandbox, what stands in the way of a warm office.
void TryOffice(const ScratchTree& tree, ChildProcess& child) {
    const PrivateScratch scratch(tree.above);
    const int status = RunInSandbox(
        {"sh", "-c",
         "/usr/bin/python3 -c 'import uno' && test -e \"$(readlink -f /usr/bin/soffice)\""},
        scratch, child);
    if (status != 0) {
        throw Failure(kEngineFailed,
                      "no office can be kept warm; install libreoffice-writer, -calc, -impress and "
                      "python3-uno. Until then each document gets an office of its own");
    }
}

// A place that is made, and taken away with what is left in it.
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
    const KeptPlace place(WarmPlace(tree.above, name));
    LeaveCaller();
    try {
        KeepOfficeWarm(place.Get(), child);
    } catch (const Failure&) {
        return;  // there is nobody any more to tell; the caller sees this process end
    }
}

// What the keeping process is, from its beginning to its end. It ends with 0 once it has left its
// caller, else it has told why it could not come so far.
[[noreturn]] void BecomeKeeper(const ScratchTree& tree, const std::string& name) {
    close_range(STDERR_FILENO + 1, ~0U, 0);
    setsid();
    umask(S_IWGRP | S_IWOTH);
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

// The exit status of a keeper that has ended before its office was ready.
int StatusOfLost(int ending) {
    if (!WIFEXITED(ending) || WEXITSTATUS(ending) == 0) {
        throw Failure(
            kEngineFailed,
            "the office has ended at once; was it stopped, or killed for want of memory?");
    }
    return WEXITSTATUS(ending);
}

// Waits until the office is ready; an exit status when its keeper ends instead.
int AwaitStart(const WarmPlace& place, pid_t keeper) {
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    while (!place.IsReady()) {
        int ending = 0;
        if (waitpid(keeper, &ending, WNOHANG) == keeper) {
            return StatusOfLost(ending);
        }
        if (std::chrono::steady_clock::now() > deadline) {
            kill(keeper, SIGTERM);
            throw Failure(kEngineFailed, "the office does not start; is the machine overloaded?");
        }
        std::this_thread::sleep_for(kLook);
    }
    return 0;
}

void EndKeeper(pid_t process, const std::string& name) {
    const Descriptor keeper(pidfd_open(process, 0));
    if (!keeper && errno == ESRCH) {
        return;
    }
    if (!keeper || pidfd_send_signal(keeper.Get(), SIGTERM, nullptr, 0) != 0) {
        throw SystemFailure("cannot end the office of " + name, errno);
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
        throw SystemFailure("cannot start a process", errno);
    }
    return AwaitStart(place, keeper);
}

void StopWarmOffice(const ScratchTree& tree, const std::string& name) {
    const Descriptor turn = TakeTurn(tree.above);
    const WarmPlace place(tree.above, name);
    if (const std::optional<pid_t> keeper = place.Keeper()) {
        if (*keeper <= 0) {
            throw Failure(kEngineFailed, "the office of " + name +
                                             " is kept by a process that is not seen from here; "
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

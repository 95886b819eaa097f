// SPDX-License-Identifier: Apache-2.0
// `docker exec` without a container engine: see kHelp.
#include <unistd.h>

#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "Failure.h"
#include "sandbox/ChildProcess.h"
#include "sandbox/Sandbox.h"
#include "scratch/Document.h"
#include "scratch/Scratch.h"
#include "warm/WarmCommand.h"
#include "warm/WarmOffice.h"

namespace vellumo::engine {
namespace {

constexpr const char* kHelp =
    R"(vellumo-engine exec NAME COMMAND [ARGUMENT…]
vellumo-engine start NAME | stop NAME | status [NAME]
vellumo-engine --help | --version

Runs COMMAND as in a container, without a container engine: the system's programs in a bubblewrap
sandbox without network. It stands at /usr/local/bin/docker; NAME may be any container's name.

A command that names a document, /Vellumo/@tmp/source/FILE, finds a copy of just that one there.
What it leaves in /Vellumo/@tmp/target/ goes to the scratch directory of that name on the docker
share's volume when it has ended, unless a signal or `timeout` ended it.

Exit status: the command's own; 1 for a document that is empty, not readable, or a .pdf that is no
PDF; 153 for a command that makes more than 768 MiB; 125 when the engine cannot do its part, with the
reason on standard error.

start keeps an office running for NAME, so that documents need not wait for one to start; it takes one
document at a time, and what it does not do goes on as before. stop ends it. Neither minds what is
done already. status tells "NAME warm PROCESS", with the process that keeps the office, or "NAME
cold" and ends with status 3; without NAME, of all that are warm.

Examples:
  vellumo-engine exec navo1 timeout --kill-after=5 120 ebook-meta /Vellumo/@tmp/source/a.epub
  vellumo-engine start navo1
)";

// A caller that has only put its effective ids aside is root all the same, and as such it is let
// at documents that belong to others.
void BecomeWholeRoot() {
    if (getuid() == 0 && geteuid() != 0 && (setresuid(0, 0, 0) != 0 || setresgid(0, 0, 0) != 0)) {
        throw Failure(kEngineFailed, "root's rights cannot be taken back; run it as root");
    }
}

int ExecuteCold(const Command& command, const ScratchTree& tree, ChildProcess& child) {
    const PrivateScratch scratch(tree.above);
    if (!command.document.empty()) {
        CopyDocument(tree.source + command.document, scratch.Source() + command.document);
    }
    const int status = RunInSandbox(command.arguments, scratch, child);
    if (status == kTooLarge) {
        std::cerr
            << "vellumo-engine: the command made more than 768 MiB, of which nothing is kept\n";
    }
    if (status != kTimeLimit && status < kKilled) {
        scratch.Publish(tree.target);
    }
    return status;
}

int Execute(Command command) {
    ChildProcess child;
    const ScratchTree tree = FindScratchTree();
    const std::optional<int> status = RunWarm(command, tree, child);
    return status ? *status : ExecuteCold(command, tree, child);
}

// `start`, `stop` and `status`, whose name may be missing.
int HandleWarmOffice(const std::vector<std::string>& words) {
    const std::string& action = words[0];
    if (words.size() > 2 || (words.size() < 2 && action != "status")) {
        throw Failure(kEngineFailed, action + " takes one container's name; see --help");
    }
    const std::string name = words.size() == 2 ? words[1] : "";
    if (words.size() == 2) {
        CheckContainerName(name);
    }
    const ScratchTree tree = FindScratchTree();
    if (action == "start") {
        return StartWarmOffice(tree, name);
    }
    if (action == "stop") {
        StopWarmOffice(tree, name);
        return 0;
    }
    return ShowWarmOffices(tree, name);
}

int Run(const std::vector<std::string>& words) {
    if (words == std::vector<std::string>{"--help"}) {
        std::cout << kHelp;
        return 0;
    }
    if (words == std::vector<std::string>{"--version"}) {
        std::cout << "vellumo-engine " VELLUMO_VERSION "\n";
        return 0;
    }
    const std::string action = words.empty() ? "" : words[0];
    if (action == "start" || action == "stop" || action == "status") {
        BecomeWholeRoot();
        return HandleWarmOffice(words);
    }
    if (action != "exec") {
        throw Failure(kEngineFailed,
                      "only exec NAME COMMAND, start, stop and status are understood; "
                      "see --help");
    }
    const Command command = ParseCommand(words);
    BecomeWholeRoot();
    return Execute(command);
}

}  // namespace
}  // namespace vellumo::engine

int main(int argc, char** argv) {
    int status = vellumo::engine::kEngineFailed;
    try {
        return vellumo::engine::Run({argv + 1, argv + argc});
    } catch (const vellumo::engine::Failure& failure) {
        status = failure.Status();
        std::cerr << "vellumo-engine: " << failure.what() << '\n';
    } catch (const std::exception& error) {
        std::cerr << "vellumo-engine: " << error.what() << '\n';
    }
    return status;
}

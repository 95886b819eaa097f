// SPDX-License-Identifier: Apache-2.0
// Does the work of `docker exec` without a container engine; see kHelp.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
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

Runs COMMAND as in a container, but without a container engine: the system's programs run in a
bubblewrap sandbox without network. Install it as /usr/local/bin/docker. NAME may be any valid
container name.

When COMMAND names a document, /Vellumo/@tmp/source/FILE, the sandbox contains a copy of that
document and of no other. When COMMAND has ended, the files that it leaves in /Vellumo/@tmp/target/
are copied to the scratch directory of the same name on the docker share's volume, unless a signal
or `timeout` ended the command.

Exit status: that of COMMAND; 1 for a document that is empty or unreadable, or a .pdf file that is
not a PDF; 153 when COMMAND writes more than 768 MiB; 125 when the engine itself fails, with the
reason on standard error.

start keeps an office running for NAME, so that documents do not wait for an office to start. That
office converts one document at a time; every other command runs as without it. stop ends the
office. Both succeed if there is nothing to do. status prints "NAME warm PROCESS", where PROCESS
keeps the office, or prints "NAME cold" and ends with status 3. Without NAME, it lists all warm
offices.

Examples:
  vellumo-engine exec navo1 timeout --kill-after=5 120 ebook-meta /Vellumo/@tmp/source/a.epub
  vellumo-engine start navo1
)";

// A caller whose real user id is 0 and whose effective ids are not is still root. The engine takes
// root's rights back, because it needs them to read other users' documents.
void BecomeWholeRoot() {
    if (getuid() == 0 && geteuid() != 0 && (setresuid(0, 0, 0) != 0 || setresgid(0, 0, 0) != 0)) {
        throw Failure(kEngineFailed, "cannot regain root's rights; run the engine as root");
    }
}

// A caller that sees no exit status, but what was written, can tell a tool that was killed from one
// that has failed. Whoever asks a command to end knows it.
void TellOfSignal(int status) {
    const int signal = status - kKilled;
    const bool isRequest = signal == SIGTERM || signal == SIGINT || signal == SIGHUP;
    if (signal > 0 && !isRequest && status != kTooLarge) {
        std::cerr << "vellumo-engine: signal " << signal << " ended the command\n";
    }
}

int ExecuteCold(const Command& command, const ScratchTree& tree, ChildProcess& child) {
    const PrivateScratch scratch(tree.above);
    if (!command.document.empty()) {
        CopyDocument(tree.source + command.document, scratch.Source() + command.document);
    }
    int status = RunInSandbox(command.arguments, scratch, child);
    if (status == kTooLarge || (status != 0 && scratch.IsFull())) {
        status = kTooLarge;
        std::cerr
            << "vellumo-engine: the command made more than 768 MiB, of which nothing is kept\n";
    }
    if (status != kTimeLimit && status < kKilled) {
        scratch.Publish(tree.target, ProductsOf(command));
    }
    TellOfSignal(status);
    return status;
}

int Execute(Command command) {
    ChildProcess child;
    const ScratchTree tree = FindScratchTree();
    const std::optional<int> status = RunWarm(command, tree, child);
    return status ? *status : ExecuteCold(command, tree, child);
}

// Handles `start`, `stop` and `status`. Only `status` works without a name.
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
    // The tools run as other users, who need what the engine makes for them. The caller, for
    // example a service, may have a mask that leaves them nothing.
    umask(S_IWGRP | S_IWOTH);
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

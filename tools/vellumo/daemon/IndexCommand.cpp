// SPDX-License-Identifier: Apache-2.0
#include "daemon/IndexCommand.h"

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "app/Messages.h"
#include "loader/pool/Readiness.h"
#include "support/Descriptor.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo index on      keep PDFs and thumbnails of all documents in the shares\n"
    "  vellumo index off     convert only what is queued\n"
    "  vellumo index         show which of both holds\n"
    "When it is on, the daemon watches the shares, looks through them from time to time, and "
    "works\n"
    "on the indexing queue, /var/packages/Vellumo/target/index/queue. 'vellumo settings' has the\n"
    "details (shares, exclude, products, nightHours), 'vellumo status' shows the progress.";

constexpr mode_t kReadableByAll = 0644;

[[noreturn]] void RefuseFile() {
    throw Failure({ExitCode::kFailed,
                   "cannot switch",
                   std::string(core::SZF_ENABLE_INDEX) + ": " + std::strerror(errno),
                   "Check the folder and the space on its disk.",
                   {}});
}

}  // namespace

IndexCommand::IndexCommand(CLI::App& app)
    : ActionCommand(
          app.add_subcommand("index", "Switch on or off that the daemon looks after the shares")) {
    Arguments()->footer(kExamples);
    Arguments()->require_subcommand(0, 1);
    AddAction("show", "Show whether it does (the default)", [this] { return Show(); });
    AddAction("on", "The daemon looks after the shares", [this] { return Switch(true); });
    AddAction("off", "It only works on the queue", [this] { return Switch(false); });
}

CommandResult IndexCommand::Run(bool json) {
    loader::CheckRights("cannot switch");
    return ActionCommand::Run(json);
}

CommandResult IndexCommand::Show() const {
    return Told(access(core::SZF_ENABLE_INDEX, F_OK) == 0);
}

// The daemon looks at the file from time to time.
CommandResult IndexCommand::Switch(bool on) const {
    if (on) {
        const support::Descriptor file(open(
            core::SZF_ENABLE_INDEX, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kReadableByAll));
        if (!file) {
            RefuseFile();
        }
    } else if (unlink(core::SZF_ENABLE_INDEX) != 0 && errno != ENOENT) {
        RefuseFile();
    }
    return Told(on);
}

CommandResult IndexCommand::Told(bool on) const {
    CommandResult result{ExitCode::kDone};
    result.json["on"] = on;
    if (!Json()) {
        std::cout << (on ? "The daemon looks after the shares.\n"
                         : "The daemon works only on the queue.\n");
    }
    return result;
}

}  // namespace vellumo::cli

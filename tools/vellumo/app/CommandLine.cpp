// SPDX-License-Identifier: Apache-2.0
#include "app/CommandLine.h"

#include <cstring>
#include <iostream>
#include <sstream>

#include "app/Reasons.h"
#include "cache/CacheCommand.h"
#include "convert/PdfCommand.h"
#include "convert/ThumbnailCommand.h"
#include "documents/CheckCommand.h"
#include "documents/PathCommand.h"
#include "pool/PoolCommand.h"
#include "records/QueueCommand.h"
#include "records/RecordCommand.h"

namespace vellumo::cli {
namespace {

constexpr const char* kDescription =
    "Turns documents of this server's shares into PDFs and thumbnails, in converter containers.";

constexpr const char* kExamples =
    "First steps, as root:\n"
    "  vellumo pool up                    start the converter containers and register them\n"
    "  vellumo pdf /docs/report.docx      make ./report.pdf of a document in the share docs\n"
    "  vellumo thumbnail -r /docs         keep a picture of every document in that share\n"
    "  vellumo path /docs/report.docx     show where it lies, and what converts it\n"
    "  vellumo check /docs/a.odt --user ann   tell whether ann may read it\n"
    "  vellumo pool                       show containers, waiting and running jobs\n"
    "  vellumo queue                      show the work that is queued\n"
    "'vellumo COMMAND --help' tells more, and so does 'man vellumo'. With --json every command\n"
    "prints one JSON document instead of text, also when it fails.\n"
    "\nExit status:\n";

std::string ExitCodeLines() {
    std::ostringstream lines;
    for (const ExitCodeEntry& entry : ExitCodes()) {
        const std::string number = std::to_string(static_cast<int>(entry.code));
        lines << std::string(5 - number.size(), ' ') << number << "  " << entry.meaning << '\n';
    }
    return lines.str();
}

bool AsksForJson(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            return true;
        }
    }
    return false;
}

void AddJsonFlag(CLI::App& app, bool& json) {
    app.add_flag("--json", json, "Print one JSON document instead of text");
    for (CLI::App* command : app.get_subcommands(nullptr)) {
        AddJsonFlag(*command, json);
    }
}

// What CLI11 calls a missing command is more often a wrong one.
std::string Explain(const CLI::ParseError& error, const CLI::App& app) {
    const bool noCommand = app.get_subcommands().empty();
    const std::vector<std::string> rest = app.remaining();
    return noCommand && !rest.empty() ? "there is no command '" + rest.front() + "'"
                                      : std::string(error.what());
}

// The command that was being parsed, in the words of a caller: "vellumo pool add".
std::string Innermost(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app.get_name() : app.get_name() + " " + Innermost(*chosen.front());
}

}  // namespace

CommandLine::CommandLine() : _app(kDescription, "vellumo") {
    _app.footer(kExamples + ExitCodeLines());
    _app.set_version_flag("--version", "vellumo " VELLUMO_VERSION);
    _app.require_subcommand(1);
    _commands.push_back(std::make_unique<PdfCommand>(_app));
    _commands.push_back(std::make_unique<ThumbnailCommand>(_app));
    _commands.push_back(std::make_unique<CacheCommand>(_app));
    _commands.push_back(std::make_unique<PathCommand>(_app));
    _commands.push_back(std::make_unique<PoolCommand>(_app));
    _commands.push_back(std::make_unique<QueueCommand>(_app));
    _commands.push_back(std::make_unique<RecordCommand>(_app));
    _commands.push_back(std::make_unique<CheckCommand>(_app));
    AddJsonFlag(_app, _json);
}

int CommandLine::Run(int argc, char** argv) {
    try {
        _app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return EndParsing(error, argc, argv);
    }
    return RunChosen();
}

Command* CommandLine::Chosen() const {
    for (const auto& command : _commands) {
        if (command->IsChosen()) {
            return command.get();
        }
    }
    return nullptr;
}

int CommandLine::RunChosen() {
    Command* const command = Chosen();
    const std::string name = command->Name();
    try {
        CommandResult result{ExitCode::kDone};
        const auto problem = ProblemOf([&] { result = command->Run(_json); });
        return problem ? EndWithFailure(name, *problem) : EndWith(name, std::move(result));
    } catch (const std::exception& error) {
        return EndWithFailure(name, {ExitCode::kFailed, "cannot go on", error.what(), "", {}});
    }
}

int CommandLine::EndWith(const std::string& command, CommandResult result) const {
    const int status = static_cast<int>(result.code);
    if (_json) {
        result.json["command"] = command;
        result.json["ok"] = result.code == ExitCode::kDone;
        result.json["exitCode"] = status;
        std::cout << JsonText(result.json) << std::flush;
    }
    return status;
}

int CommandLine::EndWithFailure(const std::string& command, const Problem& problem) const {
    CommandResult result{problem.code};
    result.FailWith(problem);
    if (!_json) {
        Print(std::cerr, problem);
    }
    return EndWith(command, std::move(result));
}

// Help and version are asked for; all else that parsing ends with is a usage error.
int CommandLine::EndParsing(const CLI::ParseError& error, int argc, char** argv) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        return _app.exit(error);
    }
    _json = AsksForJson(argc, argv);
    const Command* const command = Chosen();
    const std::string place = Innermost(_app);
    return EndWithFailure(command == nullptr ? "" : command->Name(),
                          {ExitCode::kUsage,
                           "cannot understand the command",
                           Explain(error, _app),
                           "'" + place + " --help' tells how it is used.",
                           {}});
}

}  // namespace vellumo::cli

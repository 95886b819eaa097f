// SPDX-License-Identifier: Apache-2.0
#include "app/CommandLine.h"

#include <cstring>
#include <iostream>
#include <sstream>

#include "app/Reasons.h"
#include "cache/CacheCommand.h"
#include "convert/PdfCommand.h"
#include "convert/ThumbnailCommand.h"
#include "daemon/IndexCommand.h"
#include "daemon/StatusCommand.h"
#include "doctor/DoctorCommand.h"
#include "documents/CheckCommand.h"
#include "documents/PathCommand.h"
#include "failures/FailuresCommand.h"
#include "failures/WhyCommand.h"
#include "links/LinkCommand.h"
#include "pool/PoolCommand.h"
#include "records/QueueCommand.h"
#include "records/RecordCommand.h"
#include "settings/SettingsCommand.h"

namespace vellumo::cli {
namespace {

constexpr const char* kDescription =
    "Converts documents in this server's shares into PDFs and thumbnails.";

constexpr const char* kExamples =
    "First steps, as root:\n"
    "  vellumo pool up                        start the converter containers; do this first\n"
    "  vellumo doctor                         test everything, and name the one thing to do\n"
    "  vellumo pdf /docs/report.docx          convert report.docx, in the share docs: "
    "./report.pdf\n"
    "  vellumo thumbnail -r /docs             keep a thumbnail of every document in that share\n"
    "  vellumo why /docs/report.docx          show why it has no PDF, and what to do\n"
    "  vellumo path /docs/report.docx         show the file's real path and its converter\n"
    "  vellumo check /docs/a.odt --user ann   show whether ann may read the document\n"
    "  vellumo pool                           list the containers and the jobs\n"
    "A SHARE_PATH is a slash, the name of a share, and the path in that share.\n"
    "'vellumo COMMAND --help' explains a command with examples, 'man vellumo' has the details.\n"
    "With --json, every command prints one JSON document instead of text, also when it fails.\n"
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

// The flag --json of every command and action, and their heading in the help.
void AddWhatAllShare(CLI::App& app, bool& json) {
    app.add_flag("--json", json, "Print one JSON document instead of text");
    for (CLI::App* command : app.get_subcommands(nullptr)) {
        command->group("Commands");
        AddWhatAllShare(*command, json);
    }
}

// The last command on the command line that exists: of "vellumo pool ad", pool.
const CLI::App& Innermost(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app : Innermost(*chosen.front());
}

// The words that lead to it: "vellumo pool".
std::string WordsToInnermost(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app.get_name()
                          : app.get_name() + " " + WordsToInnermost(*chosen.front());
}

// Where a command has to follow, CLI11 says "A subcommand is required" also for a misspelled one.
std::string Explain(const CLI::ParseError& error, const CLI::App& innermost) {
    if (innermost.get_subcommands(nullptr).empty()) {
        return error.what();
    }
    const std::vector<std::string> rest = innermost.remaining();
    if (rest.empty()) {
        return error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError)
                   ? "a command is missing"
                   : error.what();
    }
    const char* const kind = rest.front().starts_with('-') ? "option" : "command";
    return std::string("there is no ") + kind + " '" + rest.front() + "'";
}

}  // namespace

CommandLine::CommandLine() : _app(kDescription, "vellumo") {
    _app.footer(kExamples + ExitCodeLines());
    _app.set_help_flag("-h,--help", "Print this help and exit");
    _app.set_version_flag("--version", "vellumo " VELLUMO_VERSION, "Print the version and exit");
    _app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    _app.get_formatter()->label("Positionals", "Arguments");
    _app.require_subcommand(1);
    _commands.push_back(std::make_unique<PdfCommand>(_app));
    _commands.push_back(std::make_unique<ThumbnailCommand>(_app));
    _commands.push_back(std::make_unique<WhyCommand>(_app));
    _commands.push_back(std::make_unique<FailuresCommand>(_app));
    _commands.push_back(std::make_unique<CacheCommand>(_app));
    _commands.push_back(std::make_unique<PathCommand>(_app));
    _commands.push_back(std::make_unique<CheckCommand>(_app));
    _commands.push_back(std::make_unique<PoolCommand>(_app));
    _commands.push_back(std::make_unique<StatusCommand>(_app));
    _commands.push_back(std::make_unique<DoctorCommand>(_app));
    _commands.push_back(std::make_unique<IndexCommand>(_app));
    _commands.push_back(std::make_unique<LinkCommand>(_app));
    _commands.push_back(std::make_unique<QueueCommand>(_app));
    _commands.push_back(std::make_unique<RecordCommand>(_app));
    _commands.push_back(std::make_unique<SettingsCommand>(_app));
    AddWhatAllShare(_app, _json);
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
        PrintJson(std::cout, result.json);
        std::cout.flush();
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

// Parsing also ends early for --help and --version; every other end is a usage error.
int CommandLine::EndParsing(const CLI::ParseError& error, int argc, char** argv) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        return _app.exit(error);
    }
    _json = AsksForJson(argc, argv);
    const Command* const command = Chosen();
    return EndWithFailure(command == nullptr ? "" : command->Name(),
                          {ExitCode::kUsage,
                           "cannot understand the command",
                           Explain(error, Innermost(_app)),
                           "'" + WordsToInnermost(_app) + " --help' shows how to use it.",
                           {}});
}

}  // namespace vellumo::cli

// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_COMMANDLINE_H
#define VELLUMO_TOOLS_COMMANDLINE_H

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "app/Command.h"
#include "app/Messages.h"

namespace vellumo::cli {

// The command line: all commands, and the options that they share.
class CommandLine {
public:
    CommandLine();

    // Parses the arguments, runs the chosen command and returns the exit status.
    int Run(int argc, char** argv);

private:
    Command* Chosen() const;
    int RunChosen();
    int EndWith(const std::string& command, CommandResult result) const;
    int EndWithFailure(const std::string& command, const Problem& problem) const;
    int EndParsing(const CLI::ParseError& error, int argc, char** argv);

    CLI::App _app;
    bool _json = false;
    std::vector<std::unique_ptr<Command>> _commands;
};

}  // namespace vellumo::cli

#endif

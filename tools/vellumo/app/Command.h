// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_COMMAND_H
#define VELLUMO_TOOLS_COMMAND_H

#include <json/value.h>

#include <string>

#include "app/Messages.h"

// The header of CLI11 takes seconds to compile; only files that describe options include it.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vellumo::cli {

// How a command ended: its exit status and the members of its JSON document.
struct CommandResult {
    ExitCode code;
    Json::Value json{Json::objectValue};

    // Makes the command fail with `problem`. Prints nothing.
    void FailWith(const Problem& problem);
};

// One command of the program. Its constructor adds it to the command line; Run is called if it is
// chosen there.
class Command {
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // Does what the arguments say, and prints text unless `json`. Throws Failure when nothing could
    // be done.
    virtual CommandResult Run(bool json) = 0;

    bool IsChosen() const;
    std::string Name() const;

protected:
    explicit Command(CLI::App* arguments) : _arguments(arguments) {}
    CLI::App* Arguments() const { return _arguments; }

private:
    CLI::App* _arguments;  // owned by the command line
};

}  // namespace vellumo::cli

#endif

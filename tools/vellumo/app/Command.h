// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_COMMAND_H
#define VELLUMO_TOOLS_COMMAND_H

#include <json/value.h>

#include <string>

#include "app/Messages.h"

// Their header takes seconds to compile; only who describes options needs it.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vellumo::cli {

// How a command ended, and what it has to say to programs.
struct CommandResult {
    ExitCode code;
    Json::Value json{Json::objectValue};

    // Makes `problem` the command's end. Prints nothing.
    void FailWith(const Problem& problem);
};

// One command of the program. It adds itself to the command line when it is made, and is run when
// it has been chosen there.
class Command {
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // Does what the arguments say, and prints for people unless `json`. Throws Failure when it has
    // come to nothing.
    virtual CommandResult Run(bool json) = 0;

    bool IsChosen() const;
    std::string Name() const;

protected:
    explicit Command(CLI::App* arguments) : _arguments(arguments) {}
    CLI::App* Arguments() const { return _arguments; }

private:
    CLI::App* _arguments;  // the command line's
};

}  // namespace vellumo::cli

#endif

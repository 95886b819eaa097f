// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_HELPTEXT_H
#define VELLUMO_TESTS_HELPTEXT_H

#include <string>
#include <vector>

// What the program prints with --help.
namespace vellumo::test {

using Words = std::vector<std::string>;

// That of a command, such as {"pool", "add"}; {} is the program.
std::string Help(Words command);

// The entries below `title` in a help text: lines that are indented by two blanks.
Words BlockOf(const std::string& help, const std::string& title);

Words SubcommandsOf(const Words& command);

// A command and its subcommands, for all commands.
std::vector<Words> AllCommands();

std::string Joined(const Words& words);

}  // namespace vellumo::test

#endif

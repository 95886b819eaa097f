// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_MANUAL_H
#define VELLUMO_TESTS_MANUAL_H

#include <map>
#include <set>
#include <string>
#include <vector>

namespace vellumo::test {

using Options = std::set<std::string>;  // such as "--user" and "-r"

// What the manual's source says of the options of each command.
class Manual {
public:
    explicit Manual(const std::string& text);

    // Those in the synopsis of a command (such as "pool add") and in the list of its section, where
    // an item is an option of the command or a subcommand with its options.
    Options Of(const std::string& command) const;

    // Those that are named anywhere in the section of a command (such as "pool").
    Options InSectionOf(const std::string& command) const;

private:
    void ReadSection(const std::string& command,
                     const std::vector<std::vector<std::string>>& macros);

    std::map<std::string, Options> _ofCommands;
    std::map<std::string, Options> _inSections;
};

}  // namespace vellumo::test

#endif
